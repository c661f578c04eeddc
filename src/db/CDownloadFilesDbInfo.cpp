#include "db/CDownloadFilesDbInfo.h"

namespace vx_transfers {

using Poco::Data::Keywords::bind;

// Several failure words name the upload tables; they are kept as the log has always had them.

CDownloadFilesDbInfo::CDownloadFilesDbInfo(Poco::Data::Session& session)
    : CDbTable(session,
               "CREATE TABLE IF NOT EXISTS DownloadFilesDictionary (FileUid VARCHAR(40) PRIMARY "
               "KEY, FilePath VARCHAR, FileSize UINTEGER64, ModificationDate UINTEGER64, "
               "MD5digest VARCHAR, ParentGroupId INTEGER, TmpFileName VARCHAR)",
               "Exception when trying to create FilesDictionary table. ") {}

void CDownloadFilesDbInfo::insert(const CDownloadManager::FileDownloadDetails& details,
                                  int parentGroupId, const std::wstring& tmpFileName) {
    ScopedLock lock(m_mutex);
    FileInfo info;
    static_cast<CDownloadManager::FileDownloadDetails&>(info) = details;
    info.parentGroupId = parentGroupId;
    info.tmpFileName = tmpFileName;
    insertRow("Exception when trying to insert into FilesDictionary table. ",
              "INSERT INTO DownloadFilesDictionary VALUES(:fi, :fp, :fs, :md, :md5, :pgi, :tf)",
              info);
}

void CDownloadFilesDbInfo::extractAll(std::vector<FileInfo>& out) {
    ScopedLock lock(m_mutex);
    selectRows("Exception when trying to select from FilesDictionary table. ",
               "SELECT * FROM DownloadFilesDictionary", out);
}

void CDownloadFilesDbInfo::remove(const std::string& fileUid) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to delete from DownloadFilesDictionary table. ",
            "DELETE FROM DownloadFilesDictionary WHERE FileUid=:fu", bind(fileUid));
}

void CDownloadFilesDbInfo::remove(const std::set<std::string>& fileUids) {
    ScopedLock lock(m_mutex);
    removeByIds("Exception when trying to delete from FilesDictionary table. ",
                "DELETE FROM DownloadFilesDictionary WHERE FileUid IN (", fileUids);
}

}  // namespace vx_transfers
