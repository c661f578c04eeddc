#pragma once

#include <string>

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
};

}  // namespace vx_transfers
