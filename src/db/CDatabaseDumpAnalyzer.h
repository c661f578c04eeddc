#pragma once

#include <Poco/SharedPtr.h>

#include <set>
#include <string>
#include <vector>

#include "db/CDatabase.h"

namespace vx_transfers {

// Reads the persisted state of one direction at start-up, repairs it, and serves it to the
// groups while they restore themselves:
//   loadUploadData(); CGroupManagerBase::createGroupsFromDbInfo(...); unloadUploadData();
// (and the same for downloads). Groups are the root: a file whose group is missing and a
// channel whose file is missing are zombies, deleted from the database and forgotten.
// Nothing else is judged.
//
// Used through CSingleton<CDatabaseDumpAnalyzer> on the thread that builds a manager, before
// its engine runs; it takes no lock. An upload and a download manager each touch only their
// own three vectors. If the database has no session its table pointers are null, and
// loading raises Poco::NullPointerException.
class CDatabaseDumpAnalyzer {
public:
    CDatabaseDumpAnalyzer();

    // Appends the rows of the three tables to what is held (unload first to start afresh),
    // then validates.
    void loadUploadData();
    void loadDownloadData();
    void unloadUploadData();
    void unloadDownloadData();

    std::vector<CGroupsDbInfo::GroupInfo>& getUploadGroups();
    std::vector<CDownloadGroupsDbInfo::GroupInfo>& getDownloadGroups();

    // Each replaces `out` with the held records that belong to the group or file, in order.
    void getFilesForUploadGroup(int groupId, std::vector<CFilesDbInfo::FileInfo>& out);
    void getChannelsForUploadFile(const std::string& fileUid,
                                  std::vector<CChannelsDbInfo::ChannelInfo>& out);
    void getFilesForDownloadGroup(int groupId, std::vector<CDownloadFilesDbInfo::FileInfo>& out);
    void getChannelsForDownloadFile(const std::string& fileUid,
                                    std::vector<CDownloadChannelsDbInfo::ChannelInfo>& out);

private:
    // The log words of one direction's validation.
    struct ValidationWords {
        const char* nothingToValidate;
        const char* starting;
        const char* allFilesValid;
        const char* filesToRemove;
        const char* noZombieChannels;
        const char* zombieChannelsFound;
    };

    void validateUploadDbData(Poco::SharedPtr<CFilesDbInfo>& filesInfo,
                              Poco::SharedPtr<CChannelsDbInfo>& channelsInfo);
    void validateDownloadDbData(Poco::SharedPtr<CDownloadFilesDbInfo>& filesInfo,
                                Poco::SharedPtr<CDownloadChannelsDbInfo>& channelsInfo);

    template <typename Group, typename File, typename Channel, typename FilesTable,
              typename ChannelsTable>
    static void validateDbData(std::vector<Group>& groups, std::vector<File>& files,
                               std::vector<Channel>& channels, FilesTable& filesInfo,
                               ChannelsTable& channelsInfo, const ValidationWords& words);

    template <typename File>
    static void getFilesForGroup(int groupId, std::vector<File>& out, std::vector<File>& all);
    template <typename Channel>
    static void getChannelsForFile(const std::string& fileUid, std::vector<Channel>& out,
                                   std::vector<Channel>& all);
    template <typename File, typename Group>
    static void extractZombieFilesFromVector(std::vector<File>& files, std::vector<Group>& groups,
                                             std::set<std::string>& zombies);
    template <typename Channel, typename File>
    static void extractZombieChannelsFromVector(std::vector<Channel>& channels,
                                                std::vector<File>& files,
                                                std::set<std::string>& zombies);
    template <typename Channel>
    static void removeChannelsForFile(const std::string& fileUid, std::vector<Channel>& channels);

    std::vector<CGroupsDbInfo::GroupInfo> m_uploadGroups;
    std::vector<CFilesDbInfo::FileInfo> m_uploadFiles;
    std::vector<CChannelsDbInfo::ChannelInfo> m_uploadChannels;
    std::vector<CDownloadGroupsDbInfo::GroupInfo> m_downloadGroups;
    std::vector<CDownloadFilesDbInfo::FileInfo> m_downloadFiles;
    std::vector<CDownloadChannelsDbInfo::ChannelInfo> m_downloadChannels;
    CDatabase* m_database;
};

}  // namespace vx_transfers
