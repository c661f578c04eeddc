#pragma once

#include <Poco/Data/Session.h>
#include <Poco/Mutex.h>

#include <set>
#include <string>
#include <vector>

#include "db/CDbTable.h"
#include "db/DbRows.h"
#include "vx_transfers/CUploadManager.h"

namespace vx_transfers {

// FilesDictionary: one row per upload file. Called from the engine's thread and from channel
// threads, so each operation holds the table's mutex for the whole of it. Failures are logged
// and swallowed.
class CFilesDbInfo : public CDbTable<db_rows::UploadFile, Poco::FastMutex> {
public:
    using FileInfo = db_rows::UploadFile;

    // Creates the table if it does not exist. The session must outlive this object.
    explicit CFilesDbInfo(Poco::Data::Session& session);

    // Stores fileUid, fileUrl and url of `desc` under the group; the upload id stays empty
    // until setUploadId.
    void insert(const CUploadManager::FileDesc& desc, int parentGroupId);
    // Appends every row to `out`; additionalHttpHeaders stays empty.
    void extractAll(std::vector<FileInfo>& out);
    void remove(const std::string& fileUid);
    // Removes every listed file in one statement; an empty set runs nothing.
    void remove(const std::set<std::string>& fileUids);
    void setUploadId(const std::string& fileUid, const std::string& uploadId);
    // False when there is no such row, and when the query failed.
    bool isFileWithIdInDb(const std::string& fileUid);
};

}  // namespace vx_transfers
