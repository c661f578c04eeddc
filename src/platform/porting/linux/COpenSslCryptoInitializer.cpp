#include "platform/porting/linux/COpenSslCryptoInitializer.h"

#include <new>

namespace vx_transfers {

ICryptoInitializer* ICryptoInitializer::create() {
    return new (std::nothrow) COpenSslCryptoInitializer();
}

void COpenSslCryptoInitializer::initialize() {}

void COpenSslCryptoInitializer::uninitialize() {}

}  // namespace vx_transfers
