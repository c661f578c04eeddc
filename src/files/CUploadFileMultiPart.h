#pragma once

#include <map>

#include "files/CUploadFileBase.h"
#include "rest/CRestApiMultiPartUploadInitialize.h"

namespace vx_transfers {

// A file above the multipart threshold, sent as up to kMaxParts parts in parallel: the parts
// are announced to the service, which hands out one URL per part; one channel moves each part,
// and the upload is completed, or aborted once when cancelled, on the server.
class CUploadFileMultiPart : public CUploadFileBase {
public:
    static constexpr unsigned long long kMaxParts = 1000;

    // `partSize` is the nominal size of a part; initialize() raises it when the file would
    // need more than kMaxParts parts.
    explicit CUploadFileMultiPart(unsigned long long partSize);
    ~CUploadFileMultiPart() override = default;

    // Divides the file, with MD5 digests of the file and of each part when `calculateMd5`,
    // announces the parts and creates one channel per part the service answered with.
    dt_error initialize(CUploadManager::FileDesc& desc, CUploadGroup* group, bool calculateMd5,
                        unsigned long long bufferSize) override;
    // "complete" with the number of completed parts; false when it failed or the file has no
    // group.
    bool onComplete() override;
    // "abort"; the outcome is not looked at.
    void onCancel() override;

    // The part size and part count for a file of `fileSize` bytes at nominal part size
    // `partSize`: the count is rounded up, and when it would exceed kMaxParts the part size
    // grows (rounded up) so that kMaxParts parts cover the file; the last part takes the
    // shortfall.
    static void divide(unsigned long long fileSize, unsigned long long& partSize,
                       unsigned long long& count);

protected:
    unsigned long long m_partSize;
    CRestApiMultiPartUploadInitialize::Response m_initResponse;
    std::map<unsigned int, unsigned long long> m_partSizes;
};

}  // namespace vx_transfers
