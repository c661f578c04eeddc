#pragma once

#include "files/CUploadFileBase.h"

namespace vx_transfers {

// A file sent in one range, through one channel, to the URL the application supplied; closed
// with a file status call.
class CUploadFileSinglePart : public CUploadFileBase {
public:
    CUploadFileSinglePart() = default;
    ~CUploadFileSinglePart() override = default;

    // The one channel covers the whole file (also a file of size 0) and gets the application's
    // URL and headers unchanged. calculateMd5 has no effect here.
    dt_error initialize(CUploadManager::FileDesc& desc, CUploadGroup* group, bool calculateMd5,
                        unsigned long long bufferSize) override;
    // File status COMPLETED with the final byte count; false when the call failed or the file
    // has no group.
    bool onComplete() override;
    // File status CANCELLED; the outcome is not looked at.
    void onCancel() override;
};

}  // namespace vx_transfers
