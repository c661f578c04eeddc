#pragma once

#include "platform/porting/ICryptoInitializer.h"

namespace vx_transfers {

// OpenSSL 3 locks for itself and initialises on first use, so there is nothing to set up or
// tear down here; the class exists so that start-up reads the same on every platform.
class COpenSslCryptoInitializer : public ICryptoInitializer {
public:
    void initialize() override;
    void uninitialize() override;
};

}  // namespace vx_transfers
