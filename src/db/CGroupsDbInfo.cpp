#include "db/CGroupsDbInfo.h"

namespace vx_transfers {

using Poco::Data::Keywords::bind;

CGroupsDbInfo::CGroupsDbInfo(Poco::Data::Session& session)
    : CDbTable(session,
               "CREATE TABLE IF NOT EXISTS GroupsDictionary (BucketUid VARCHAR(40), BucketToken "
               "VARCHAR(40), BucketType VARCHAR, ExpirationDate UINTEGER64, GroupId UINTEGER16 "
               "PRIMARY KEY, Paused BOOLEAN, Marked BOOLEAN, RetryCount UINTEGER32)",
               "Exception when trying to create GroupsDictionary table. ") {}

void CGroupsDbInfo::insert(const GroupInfo& info) {
    ScopedLock lock(m_mutex);
    insertRow("Exception when trying to insert into GroupsDictionary table. ",
              "INSERT INTO GroupsDictionary VALUES(:bi, :bt, :bty, :ed, :gi, :pa, :ma, :rc)", info);
}

void CGroupsDbInfo::extractAll(std::vector<GroupInfo>& out) {
    ScopedLock lock(m_mutex);
    selectRows("Exception when trying to select from GroupsDictionary table. ",
               "SELECT * FROM GroupsDictionary", out);
}

void CGroupsDbInfo::remove(int groupId) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to delete from GroupsDictionary table. ",
            "DELETE FROM GroupsDictionary WHERE GroupId=:gi", bind(groupId));
}

void CGroupsDbInfo::setPaused(int groupId, bool paused) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update paused field in GroupsDictionary table. ",
            "UPDATE GroupsDictionary SET Paused=:pa WHERE GroupId=:gi", bind(paused),
            bind(groupId));
}

void CGroupsDbInfo::setMarked(int groupId, bool marked) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update marked field in GroupsDictionary table. ",
            "UPDATE GroupsDictionary SET Marked=:ma WHERE GroupId=:gi", bind(marked),
            bind(groupId));
}

void CGroupsDbInfo::setRetryCount(int groupId, unsigned int retryCount) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update RetryCount field in GroupsDictionary table. ",
            "UPDATE GroupsDictionary SET RetryCount=:rc WHERE GroupId=:gi", bind(retryCount),
            bind(groupId));
}

}  // namespace vx_transfers
