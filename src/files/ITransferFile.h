#pragma once

#include <string>

namespace vx_transfers {

// What upload and download files have in common, as their channels see them.
class ITransferFile {
public:
    virtual void getUid(std::string& uid) = 0;
    virtual void getBucketUid(std::string& bucketUid) = 0;
    virtual int getGroupId() = 0;
    virtual ~ITransferFile() = default;
};

}  // namespace vx_transfers
