#pragma once

#include <Poco/Data/Session.h>
#include <Poco/SharedPtr.h>

#include <memory>
#include <string>

#include "db/CActiveChannelsDbInfo.h"
#include "db/CActiveFilesDbInfo.h"
#include "db/CChannelsDbInfo.h"
#include "db/CDownloadChannelsDbInfo.h"
#include "db/CDownloadFilesDbInfo.h"
#include "db/CDownloadGroupsDbInfo.h"
#include "db/CFilesDbInfo.h"
#include "db/CGroupsDbInfo.h"

namespace vx_transfers {

// The one SQLite database of the process, "vx_transfers_v4.db" in the application files
// folder, and its six tables over one shared session. There is no migration: a new schema
// gets a new file name, and the files of earlier schemas are deleted unread at start.
//
// getInstance() takes no lock: its first call must come from start-up, before any worker
// thread reaches the database. If connecting fails, one error line is logged and the object
// still comes back, with an empty session and null table pointers.
class CDatabase {
public:
    static CDatabase* getInstance();

    ~CDatabase();
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;

    // Full path of the current database file.
    static void getDbFilePath(std::string& path);
    // Application files folder + "/" + fileName; fileName alone when no folder is set.
    static void getDbFilePath(std::string& path, const std::string& fileName);

    Poco::SharedPtr<CGroupsDbInfo> getGroupsInfo();
    Poco::SharedPtr<CFilesDbInfo> getFilesInfo();
    Poco::SharedPtr<CChannelsDbInfo> getChannelsInfo();
    Poco::SharedPtr<CDownloadGroupsDbInfo> getDownloadGroupsInfo();
    Poco::SharedPtr<CDownloadFilesDbInfo> getDownloadFilesInfo();
    Poco::SharedPtr<CDownloadChannelsDbInfo> getDownloadChannelsInfo();

    // A new object on every call; null without a session.
    Poco::SharedPtr<CActiveFilesDbInfo> getActiveFilesInfo();
    Poco::SharedPtr<CActiveChannelsDbInfo> getActiveChannelsInfo();

private:
    CDatabase();
    void removeOldDb();

    // Tests reopen the database through this friend (tests/db/CDatabaseTestAccess.h): it
    // destroys the instance so that the next getInstance() opens the file anew.
    friend class CDatabaseTestAccess;

    static std::unique_ptr<CDatabase> m_this;
    static const std::string m_dbFileName;
    static const std::string m_oldDbFileNames[];
    static const unsigned int m_oldDbFileNamesCount = 3;

    // Declared before the tables, which hold a reference to it.
    std::unique_ptr<Poco::Data::Session> m_session;
    Poco::SharedPtr<CGroupsDbInfo> m_groupsInfo;
    Poco::SharedPtr<CFilesDbInfo> m_filesInfo;
    Poco::SharedPtr<CChannelsDbInfo> m_channelsInfo;
    Poco::SharedPtr<CDownloadChannelsDbInfo> m_downloadChannelsInfo;
    Poco::SharedPtr<CDownloadGroupsDbInfo> m_downloadGroupsInfo;
    Poco::SharedPtr<CDownloadFilesDbInfo> m_downloadFilesInfo;
};

}  // namespace vx_transfers
