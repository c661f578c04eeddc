#pragma once

#include <string>

#include "db/CGroupsDbInfoBase.h"

namespace vx_transfers {

// What it takes to make a group. The registry fills in groupId and isNew; each direction's group
// derives its own record with the settings it needs.
struct GroupInitParams {
    virtual ~GroupInitParams() = default;

    std::string bucketId;
    std::string bucketToken;
    std::string bucketType;                 // kept for reports
    unsigned long long expirationDate = 0;  // as the application gave it; not interpreted
    int groupId = 0;
    void* callback = nullptr;  // the manager's ICallback of the group's direction; may be null
    bool isNew = true;         // false for a group restored from the database

    // The bucket's identity between these parameters and a stored group record; both
    // directions' tables share these columns.
    void copyIdentityFrom(const CGroupsDbInfoBase::GroupInfo& record) {
        bucketId = record.bucketUid;
        bucketToken = record.bucketToken;
        bucketType = record.bucketType;
        expirationDate = record.expirationDate;
        groupId = record.groupId;
    }
    void copyIdentityTo(CGroupsDbInfoBase::GroupInfo& record) const {
        record.bucketUid = bucketId;
        record.bucketToken = bucketToken;
        record.bucketType = bucketType;
        record.expirationDate = expirationDate;
        record.groupId = groupId;
    }
};

}  // namespace vx_transfers
