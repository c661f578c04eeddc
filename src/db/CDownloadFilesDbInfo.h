#pragma once

#include <Poco/Data/Session.h>
#include <Poco/Mutex.h>

#include <set>
#include <string>
#include <vector>

#include "db/CDbTable.h"
#include "db/DbRows.h"
#include "vx_transfers/CDownloadManager.h"

namespace vx_transfers {

// DownloadFilesDictionary: one row per download file. Called from the engine's thread and
// from channel threads, so each operation holds the table's mutex for the whole of it.
// Failures are logged and swallowed.
class CDownloadFilesDbInfo : public CDbTable<db_rows::DownloadFile, Poco::FastMutex> {
public:
    using FileInfo = db_rows::DownloadFile;

    // Creates the table if it does not exist. The session must outlive this object.
    explicit CDownloadFilesDbInfo(Poco::Data::Session& session);

    void insert(const CDownloadManager::FileDownloadDetails& details, int parentGroupId,
                const std::wstring& tmpFileName);
    // Appends every row to `out`.
    void extractAll(std::vector<FileInfo>& out);
    void remove(const std::string& fileUid);
    // Removes every listed file in one statement; an empty set runs nothing.
    void remove(const std::set<std::string>& fileUids);
};

}  // namespace vx_transfers
