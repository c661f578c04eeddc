#include "files/CUploadFileFactory.h"

#include <new>

#include "files/CUploadFileMultiPart.h"
#include "files/CUploadFileSinglePart.h"

namespace vx_transfers {

namespace {

// The nominal part size of a file restored by its channel count; the stored channels give the
// real boundaries, so it is never used for dividing.
const unsigned long long kRestoredPartSize = 0x500000;

}  // namespace

IUploadFile* CUploadFileFactory::create(unsigned long long minMultipartSize,
                                        unsigned long long fileSize) {
    if (fileSize <= minMultipartSize) {
        return new (std::nothrow) CUploadFileSinglePart();
    }
    return new (std::nothrow) CUploadFileMultiPart(minMultipartSize);
}

IUploadFile* CUploadFileFactory::create(unsigned int channelCount) {
    if (channelCount > 1) {
        return new (std::nothrow) CUploadFileMultiPart(kRestoredPartSize);
    }
    return new (std::nothrow) CUploadFileSinglePart();
}

}  // namespace vx_transfers
