#pragma once

#include "memory/CTransferBufferManagerBase.h"

namespace vx_transfers {

// Buffers that hold about half a second of the file's traffic at its last measured speed, so
// that a chunk costs one lock and one list walk whatever the speed.
class CTRansferBufferManagerDynamic : public CTransferBufferManagerBase {
public:
    // Used while no speed is known yet.
    static constexpr unsigned long long kDefaultBufferSize = 51200;

    unsigned long long getDesiredBufferSize() override;
};

}  // namespace vx_transfers
