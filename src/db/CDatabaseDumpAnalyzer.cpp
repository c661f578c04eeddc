#include "db/CDatabaseDumpAnalyzer.h"

#include <algorithm>

#include "platform/Log.h"

namespace vx_transfers {

namespace {

// Upload files are known by fileUid, download files by fileId.
const std::string& uidOf(const CFilesDbInfo::FileInfo& file) { return file.fileUid; }
const std::string& uidOf(const CDownloadFilesDbInfo::FileInfo& file) { return file.fileId; }

}  // namespace

CDatabaseDumpAnalyzer::CDatabaseDumpAnalyzer() : m_database(CDatabase::getInstance()) {}

void CDatabaseDumpAnalyzer::loadUploadData() {
    Poco::SharedPtr<CGroupsDbInfo> groupsInfo = m_database->getGroupsInfo();
    Poco::SharedPtr<CFilesDbInfo> filesInfo = m_database->getFilesInfo();
    Poco::SharedPtr<CChannelsDbInfo> channelsInfo = m_database->getChannelsInfo();

    groupsInfo->extractAll(m_uploadGroups);
    VXT_LOG_INFO("Extracted " << m_uploadGroups.size() << " upload groups from DB");
    filesInfo->extractAll(m_uploadFiles);
    VXT_LOG_INFO("Extracted " << m_uploadFiles.size() << " upload files from DB");
    channelsInfo->extractAll(m_uploadChannels);
    VXT_LOG_INFO("Extracted " << m_uploadChannels.size() << " upload channels from DB");

    validateUploadDbData(filesInfo, channelsInfo);
}

void CDatabaseDumpAnalyzer::loadDownloadData() {
    Poco::SharedPtr<CDownloadGroupsDbInfo> groupsInfo = m_database->getDownloadGroupsInfo();
    Poco::SharedPtr<CDownloadFilesDbInfo> filesInfo = m_database->getDownloadFilesInfo();
    Poco::SharedPtr<CDownloadChannelsDbInfo> channelsInfo = m_database->getDownloadChannelsInfo();

    groupsInfo->extractAll(m_downloadGroups);
    VXT_LOG_INFO("Download Manager: Extracted " << m_downloadGroups.size() << " groups from DB");
    filesInfo->extractAll(m_downloadFiles);
    VXT_LOG_INFO("Download Manager: Extracted " << m_downloadFiles.size() << " files from DB");
    channelsInfo->extractAll(m_downloadChannels);
    VXT_LOG_INFO("Download Manager: Extracted " << m_downloadChannels.size()
                                                << " channels from DB");

    validateDownloadDbData(filesInfo, channelsInfo);
}

void CDatabaseDumpAnalyzer::unloadUploadData() {
    m_uploadGroups.clear();
    m_uploadFiles.clear();
    m_uploadChannels.clear();
}

void CDatabaseDumpAnalyzer::unloadDownloadData() {
    m_downloadGroups.clear();
    m_downloadFiles.clear();
    m_downloadChannels.clear();
}

std::vector<CGroupsDbInfo::GroupInfo>& CDatabaseDumpAnalyzer::getUploadGroups() {
    return m_uploadGroups;
}

std::vector<CDownloadGroupsDbInfo::GroupInfo>& CDatabaseDumpAnalyzer::getDownloadGroups() {
    return m_downloadGroups;
}

void CDatabaseDumpAnalyzer::getFilesForUploadGroup(int groupId,
                                                   std::vector<CFilesDbInfo::FileInfo>& out) {
    getFilesForGroup(groupId, out, m_uploadFiles);
}

void CDatabaseDumpAnalyzer::getChannelsForUploadFile(
    const std::string& fileUid, std::vector<CChannelsDbInfo::ChannelInfo>& out) {
    getChannelsForFile(fileUid, out, m_uploadChannels);
}

void CDatabaseDumpAnalyzer::getFilesForDownloadGroup(
    int groupId, std::vector<CDownloadFilesDbInfo::FileInfo>& out) {
    getFilesForGroup(groupId, out, m_downloadFiles);
}

void CDatabaseDumpAnalyzer::getChannelsForDownloadFile(
    const std::string& fileUid, std::vector<CDownloadChannelsDbInfo::ChannelInfo>& out) {
    getChannelsForFile(fileUid, out, m_downloadChannels);
}

void CDatabaseDumpAnalyzer::validateUploadDbData(Poco::SharedPtr<CFilesDbInfo>& filesInfo,
                                                 Poco::SharedPtr<CChannelsDbInfo>& channelsInfo) {
    static const ValidationWords words = {
        "There are no upload files and upload parts in DB, skipping data validation...",
        "Starting upload data validation",
        "All upload files in DB are valid",
        " upload files should be removed from DB",
        "No zombie upload channels found",
        " zombie file ids extracted from upload channels DB table. Removing..."};
    validateDbData(m_uploadGroups, m_uploadFiles, m_uploadChannels, *filesInfo, *channelsInfo,
                   words);
}

void CDatabaseDumpAnalyzer::validateDownloadDbData(
    Poco::SharedPtr<CDownloadFilesDbInfo>& filesInfo,
    Poco::SharedPtr<CDownloadChannelsDbInfo>& channelsInfo) {
    static const ValidationWords words = {
        "There are no download files and upload parts in DB, skipping data validation...",
        "Starting download data validation",
        "All download files in DB are valid",
        " download files should be removed from DB",
        "No zombie download channels found",
        " zombie file ids extracted from download channels DB table. Removing..."};
    validateDbData(m_downloadGroups, m_downloadFiles, m_downloadChannels, *filesInfo, *channelsInfo,
                   words);
}

// Files are judged first and their channels go with them, so that the channels judged after
// are only those that were orphans by themselves. Zombie channels are deleted by the uid of
// the file that they name, so all channels of one missing file go at once.
template <typename Group, typename File, typename Channel, typename FilesTable,
          typename ChannelsTable>
void CDatabaseDumpAnalyzer::validateDbData(std::vector<Group>& groups, std::vector<File>& files,
                                           std::vector<Channel>& channels, FilesTable& filesInfo,
                                           ChannelsTable& channelsInfo,
                                           const ValidationWords& words) {
    if (files.empty() && channels.empty()) {
        VXT_LOG_INFO(words.nothingToValidate);
        return;
    }
    VXT_LOG_INFO(words.starting);

    std::set<std::string> zombieFiles;
    extractZombieFilesFromVector(files, groups, zombieFiles);
    if (zombieFiles.empty()) {
        VXT_LOG_INFO(words.allFilesValid);
    } else {
        VXT_LOG_INFO(zombieFiles.size() << words.filesToRemove);
        for (const std::string& uid : zombieFiles) {
            removeChannelsForFile(uid, channels);
        }
        filesInfo.remove(zombieFiles);
        channelsInfo.remove(zombieFiles);
    }

    std::set<std::string> zombieChannels;
    extractZombieChannelsFromVector(channels, files, zombieChannels);
    if (zombieChannels.empty()) {
        VXT_LOG_INFO(words.noZombieChannels);
    } else {
        VXT_LOG_WARNING(zombieChannels.size() << words.zombieChannelsFound);
        channelsInfo.remove(zombieChannels);
    }
}

template <typename File>
void CDatabaseDumpAnalyzer::getFilesForGroup(int groupId, std::vector<File>& out,
                                             std::vector<File>& all) {
    out.clear();
    for (const File& file : all) {
        if (file.parentGroupId == groupId) {
            out.push_back(file);
        }
    }
}

template <typename Channel>
void CDatabaseDumpAnalyzer::getChannelsForFile(const std::string& fileUid,
                                               std::vector<Channel>& out,
                                               std::vector<Channel>& all) {
    out.clear();
    for (const Channel& channel : all) {
        if (channel.fileUid == fileUid) {
            out.push_back(channel);
        }
    }
}

template <typename File, typename Group>
void CDatabaseDumpAnalyzer::extractZombieFilesFromVector(std::vector<File>& files,
                                                         std::vector<Group>& groups,
                                                         std::set<std::string>& zombies) {
    for (auto file = files.begin(); file != files.end();) {
        const int groupId = file->parentGroupId;
        const bool hasGroup = std::any_of(groups.begin(), groups.end(), [groupId](const Group& g) {
            return g.groupId == groupId;
        });
        if (hasGroup) {
            ++file;
            continue;
        }
        VXT_LOG_WARNING("Found zombie file in DB. File id: " << uidOf(*file)
                                                             << ". It belong to group " << groupId
                                                             << " which does not exist");
        zombies.insert(uidOf(*file));
        file = files.erase(file);
    }
}

template <typename Channel, typename File>
void CDatabaseDumpAnalyzer::extractZombieChannelsFromVector(std::vector<Channel>& channels,
                                                            std::vector<File>& files,
                                                            std::set<std::string>& zombies) {
    for (auto channel = channels.begin(); channel != channels.end();) {
        const std::string& fileUid = channel->fileUid;
        const bool hasFile = std::any_of(files.begin(), files.end(),
                                         [&fileUid](const File& f) { return uidOf(f) == fileUid; });
        if (hasFile) {
            ++channel;
            continue;
        }
        VXT_LOG_WARNING("Found zombie channel in DB. File id: " << fileUid);
        zombies.insert(fileUid);
        channel = channels.erase(channel);
    }
}

template <typename Channel>
void CDatabaseDumpAnalyzer::removeChannelsForFile(const std::string& fileUid,
                                                  std::vector<Channel>& channels) {
    channels.erase(std::remove_if(channels.begin(), channels.end(),
                                  [&fileUid](const Channel& c) { return c.fileUid == fileUid; }),
                   channels.end());
}

}  // namespace vx_transfers
