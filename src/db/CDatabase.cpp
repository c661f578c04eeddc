#include "db/CDatabase.h"

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/File.h>

#include <exception>
#include <new>

#include "db/CDbSessionOpener.h"
#include "managers/startup/getAppFilesPathHelper.h"
#include "platform/Log.h"

namespace vx_transfers {

std::unique_ptr<CDatabase> CDatabase::m_this;
const std::string CDatabase::m_dbFileName = "vx_transfers_v4.db";
const std::string CDatabase::m_oldDbFileNames[m_oldDbFileNamesCount] = {
    "vx_transfers.db", "vx_transfers_v2.db", "vx_transfers_v3.db"};

CDatabase* CDatabase::getInstance() {
    if (!m_this) {
        m_this.reset(new (std::nothrow) CDatabase());
    }
    return m_this.get();
}

CDatabase::CDatabase() {
    try {
        Poco::Data::SQLite::Connector::registerConnector();
        std::string path;
        getDbFilePath(path, m_dbFileName);
        removeOldDb();
        m_session = CDbSessionOpener::open(path);
        if (m_session) {
            m_groupsInfo = new (std::nothrow) CGroupsDbInfo(*m_session);
            m_filesInfo = new (std::nothrow) CFilesDbInfo(*m_session);
            m_channelsInfo = new (std::nothrow) CChannelsDbInfo(*m_session);
            m_downloadChannelsInfo = new (std::nothrow) CDownloadChannelsDbInfo(*m_session);
            m_downloadGroupsInfo = new (std::nothrow) CDownloadGroupsDbInfo(*m_session);
            m_downloadFilesInfo = new (std::nothrow) CDownloadFilesDbInfo(*m_session);
        }
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Unable to connect to database. Exception is: " << e.what());
    }
}

CDatabase::~CDatabase() {
    // The database lives until static destruction, when Poco's own statics may already be
    // gone and their locks throw. Every statement was its own transaction, so nothing is
    // lost by giving up quietly here; throwing out of a destructor would end the process.
    try {
        m_downloadFilesInfo.reset();
        m_downloadGroupsInfo.reset();
        m_downloadChannelsInfo.reset();
        m_channelsInfo.reset();
        m_filesInfo.reset();
        m_groupsInfo.reset();
        m_session.reset();
    } catch (...) {
    }
    try {
        Poco::Data::SQLite::Connector::unregisterConnector();
    } catch (...) {
    }
}

void CDatabase::getDbFilePath(std::string& path) { getDbFilePath(path, m_dbFileName); }

void CDatabase::getDbFilePath(std::string& path, const std::string& fileName) {
    std::string folder;
    getAppFilesPathHelper(folder);
    path = folder.empty() ? fileName : folder + "/" + fileName;
}

void CDatabase::removeOldDb() {
    for (unsigned int i = 0; i < m_oldDbFileNamesCount; ++i) {
        try {
            std::string path;
            getDbFilePath(path, m_oldDbFileNames[i]);
            Poco::File file(path);
            if (file.exists()) {
                file.remove(false);
            }
        } catch (const std::exception& e) {
            VXT_LOG_WARNING("Exception when removing old DB: " << e.what());
        }
    }
}

Poco::SharedPtr<CGroupsDbInfo> CDatabase::getGroupsInfo() { return m_groupsInfo; }

Poco::SharedPtr<CFilesDbInfo> CDatabase::getFilesInfo() { return m_filesInfo; }

Poco::SharedPtr<CChannelsDbInfo> CDatabase::getChannelsInfo() { return m_channelsInfo; }

Poco::SharedPtr<CDownloadGroupsDbInfo> CDatabase::getDownloadGroupsInfo() {
    return m_downloadGroupsInfo;
}

Poco::SharedPtr<CDownloadFilesDbInfo> CDatabase::getDownloadFilesInfo() {
    return m_downloadFilesInfo;
}

Poco::SharedPtr<CDownloadChannelsDbInfo> CDatabase::getDownloadChannelsInfo() {
    return m_downloadChannelsInfo;
}

Poco::SharedPtr<CActiveFilesDbInfo> CDatabase::getActiveFilesInfo() {
    if (!m_session) {
        return Poco::SharedPtr<CActiveFilesDbInfo>();
    }
    return Poco::SharedPtr<CActiveFilesDbInfo>(new (std::nothrow) CActiveFilesDbInfo(*m_session));
}

Poco::SharedPtr<CActiveChannelsDbInfo> CDatabase::getActiveChannelsInfo() {
    if (!m_session) {
        return Poco::SharedPtr<CActiveChannelsDbInfo>();
    }
    return Poco::SharedPtr<CActiveChannelsDbInfo>(new (std::nothrow)
                                                      CActiveChannelsDbInfo(*m_session));
}

}  // namespace vx_transfers
