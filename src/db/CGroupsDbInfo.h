#pragma once

#include <Poco/Data/Session.h>
#include <Poco/Mutex.h>

#include <vector>

#include "db/CDbTable.h"
#include "db/DbRows.h"

namespace vx_transfers {

// GroupsDictionary: one row per upload group. It has no lock of its own: each operation runs
// under the lock of the group that calls it, and different groups may call at once (the
// statements themselves are serialized below, see CDbSessionLock). Failures are logged and
// swallowed.
class CGroupsDbInfo : public CDbTable<db_rows::UploadGroup, Poco::NullMutex> {
public:
    using GroupInfo = db_rows::UploadGroup;

    // Creates the table if it does not exist. The session must outlive this object.
    explicit CGroupsDbInfo(Poco::Data::Session& session);

    void insert(const GroupInfo& info);
    // Appends every row to `out`.
    void extractAll(std::vector<GroupInfo>& out);
    void remove(int groupId);
    void setPaused(int groupId, bool paused);
    void setMarked(int groupId, bool marked);
    void setRetryCount(int groupId, unsigned int retryCount);
};

}  // namespace vx_transfers
