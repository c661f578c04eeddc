#include "memory/CTransferBufferManagerStatic.h"

namespace vx_transfers {

CTransferBufferManagerStatic::CTransferBufferManagerStatic(unsigned long long bufferSize)
    : m_bufferSize(bufferSize) {}

unsigned long long CTransferBufferManagerStatic::getDesiredBufferSize() { return m_bufferSize; }

}  // namespace vx_transfers
