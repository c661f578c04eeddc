#pragma once

#include "memory/CTransferBufferManagerBase.h"

namespace vx_transfers {

// Buffers of one configured size (bounded by the pool and by what the caller asks for).
class CTransferBufferManagerStatic : public CTransferBufferManagerBase {
public:
    explicit CTransferBufferManagerStatic(unsigned long long bufferSize);

    unsigned long long getDesiredBufferSize() override;

private:
    unsigned long long m_bufferSize;
};

}  // namespace vx_transfers
