#include "db/CFilesDbInfo.h"

namespace vx_transfers {

using Poco::Data::Keywords::bind;
using Poco::Data::Keywords::into;

CFilesDbInfo::CFilesDbInfo(Poco::Data::Session& session)
    : CDbTable(session,
               "CREATE TABLE IF NOT EXISTS FilesDictionary (FileUid VARCHAR(40) PRIMARY KEY, "
               "FileLocalUri VARCHAR, FileRemoteUri VARCHAR, ParentGroupId INTEGER, UploadId "
               "VARCHAR)",
               "Exception when trying to create FilesDictionary table. ") {}

void CFilesDbInfo::insert(const CUploadManager::FileDesc& desc, int parentGroupId) {
    ScopedLock lock(m_mutex);
    FileInfo info;
    info.fileUid = desc.fileUid;
    info.fileUrl = desc.fileUrl;
    info.url = desc.url;
    info.parentGroupId = parentGroupId;
    insertRow("Exception when trying to insert into FilesDictionary table. ",
              "INSERT INTO FilesDictionary VALUES(:fi, :flu, :fru, :pgi, :ui)", info);
}

void CFilesDbInfo::extractAll(std::vector<FileInfo>& out) {
    ScopedLock lock(m_mutex);
    selectRows("Exception when trying to select from FilesDictionary table. ",
               "SELECT * FROM FilesDictionary", out);
}

void CFilesDbInfo::remove(const std::string& fileUid) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to delete from FilesDictionary table. ",
            "DELETE FROM FilesDictionary WHERE FileUid=:fu", bind(fileUid));
}

void CFilesDbInfo::remove(const std::set<std::string>& fileUids) {
    ScopedLock lock(m_mutex);
    removeByIds("Exception when trying to delete from FilesDictionary table. ",
                "DELETE FROM FilesDictionary WHERE FileUid IN (", fileUids);
}

void CFilesDbInfo::setUploadId(const std::string& fileUid, const std::string& uploadId) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update FilesDictionary table. ",
            "UPDATE FilesDictionary SET UploadId=:ui WHERE FileUid=:fu", bind(uploadId),
            bind(fileUid));
}

bool CFilesDbInfo::isFileWithIdInDb(const std::string& fileUid) {
    ScopedLock lock(m_mutex);
    std::vector<int> found;
    const bool done =
        execute("Exception when trying to select FilesDictionary table. ",
                "SELECT 1 FROM FilesDictionary WHERE FileUid=:fu", into(found), bind(fileUid));
    return done && !found.empty();
}

}  // namespace vx_transfers
