#pragma once

namespace vx_transfers {

class IUploadFile;

// Picks the class of an upload file. Both return null when allocation fails.
class CUploadFileFactory {
public:
    // Single-part when fileSize is not above minMultipartSize (a file of exactly that size goes
    // in one part); otherwise multipart with minMultipartSize as the nominal part size.
    static IUploadFile* create(unsigned long long minMultipartSize, unsigned long long fileSize);
    // On restore, when the stored channels decide: multipart for more than one channel.
    static IUploadFile* create(unsigned int channelCount);
};

}  // namespace vx_transfers
