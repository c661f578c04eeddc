#include "memory/CTRansferBufferManagerDynamic.h"

namespace vx_transfers {

unsigned long long CTRansferBufferManagerDynamic::getDesiredBufferSize() {
    const unsigned long long speed = getLastTransferSpeed();
    if (speed == 0) {
        return kDefaultBufferSize;
    }
    return static_cast<unsigned long long>(static_cast<double>(speed) * 0.5);
}

}  // namespace vx_transfers
