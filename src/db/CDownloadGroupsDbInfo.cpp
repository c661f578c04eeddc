#include "db/CDownloadGroupsDbInfo.h"

namespace vx_transfers {

using Poco::Data::Keywords::bind;

// Several failure words name the upload tables; they are kept as the log has always had them.

CDownloadGroupsDbInfo::CDownloadGroupsDbInfo(Poco::Data::Session& session)
    : CDbTable(session,
               "CREATE TABLE IF NOT EXISTS DownloadGroupsDictionary (BucketUid VARCHAR(40), "
               "BucketToken VARCHAR(40), BucketType VARCHAR, ExpirationDate UINTEGER64, GroupId "
               "UINTEGER16 PRIMARY KEY, Paused BOOLEAN, DownloadPath VARCHAR, RetryCount "
               "UINTEGER32)",
               "Exception when trying to create GroupsDictionary table. ") {}

void CDownloadGroupsDbInfo::insert(const GroupInfo& info) {
    ScopedLock lock(m_mutex);
    insertRow("Exception when trying to insert into GroupsDictionary table. ",
              "INSERT INTO DownloadGroupsDictionary VALUES(:bi, :bt, :bty, :ed, :gi, :pa, :dp, "
              ":rc)",
              info);
}

void CDownloadGroupsDbInfo::extractAll(std::vector<GroupInfo>& out) {
    ScopedLock lock(m_mutex);
    selectRows("Exception when trying to select from DownloadGroupsDictionary table. ",
               "SELECT * FROM DownloadGroupsDictionary", out);
}

void CDownloadGroupsDbInfo::remove(int groupId) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to delete from GroupsDictionary table. ",
            "DELETE FROM DownloadGroupsDictionary WHERE GroupId=:gi", bind(groupId));
}

void CDownloadGroupsDbInfo::setPaused(int groupId, bool paused) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update paused field in GroupsDictionary table. ",
            "UPDATE DownloadGroupsDictionary SET Paused=:pa WHERE GroupId=:gi", bind(paused),
            bind(groupId));
}

void CDownloadGroupsDbInfo::setRetryCount(int groupId, unsigned int retryCount) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update RetryCount field in DownloadGroupsDictionary table. ",
            "UPDATE DownloadGroupsDictionary SET RetryCount=:rc WHERE GroupId=:gi",
            bind(retryCount), bind(groupId));
}

}  // namespace vx_transfers
