#pragma once

#include <Poco/Data/Session.h>
#include <Poco/Mutex.h>

#include <vector>

#include "db/CDbTable.h"
#include "db/DbRows.h"

namespace vx_transfers {

// DownloadGroupsDictionary: one row per download group. It has no lock of its own: each
// operation runs under the lock of the group that calls it (the statements themselves are
// serialized below, see CDbSessionLock). Failures are logged and swallowed.
class CDownloadGroupsDbInfo : public CDbTable<db_rows::DownloadGroup, Poco::NullMutex> {
public:
    using GroupInfo = db_rows::DownloadGroup;

    // Creates the table if it does not exist. The session must outlive this object.
    explicit CDownloadGroupsDbInfo(Poco::Data::Session& session);

    void insert(const GroupInfo& info);
    // Appends every row to `out`.
    void extractAll(std::vector<GroupInfo>& out);
    void remove(int groupId);
    void setPaused(int groupId, bool paused);
    void setRetryCount(int groupId, unsigned int retryCount);
};

}  // namespace vx_transfers
