#pragma once

#include <string>

namespace vx_transfers {

// What upload and download group tables have in common: the group record.
class CGroupsDbInfoBase {
public:
    // The columns that GroupsDictionary and DownloadGroupsDictionary share.
    struct GroupInfo {
        virtual ~GroupInfo() = default;

        std::string bucketUid;                  // BucketUid
        std::string bucketToken;                // BucketToken
        std::string bucketType;                 // BucketType
        unsigned long long expirationDate = 0;  // ExpirationDate
        int groupId = 0;                        // GroupId
        bool paused = false;                    // Paused
        unsigned int retryCount = 0;            // RetryCount
    };
};

}  // namespace vx_transfers
