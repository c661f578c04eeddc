#include "memory/CBufferManagerFactory.h"

#include <new>

#include "memory/CTRansferBufferManagerDynamic.h"
#include "memory/CTransferBufferManagerStatic.h"

namespace vx_transfers {

ITransferBufferManager* CBufferManagerFactory::createBufferManager(unsigned long long bufferSize) {
    if (bufferSize == 0) {
        return new (std::nothrow) CTRansferBufferManagerDynamic();
    }
    return new (std::nothrow) CTransferBufferManagerStatic(bufferSize);
}

}  // namespace vx_transfers
