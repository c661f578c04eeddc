#pragma once

namespace vx_transfers {

class ITransferBufferManager;

class CBufferManagerFactory {
public:
    // 0 gives buffers that follow the speed, anything else buffers of that size. The caller
    // owns the result; null if it could not be made.
    static ITransferBufferManager* createBufferManager(unsigned long long bufferSize);
};

}  // namespace vx_transfers
