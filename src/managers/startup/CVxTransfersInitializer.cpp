#include "vx_transfers/CVxTransfersInitializer.h"

#include "managers/startup/CCryptoEngineInitializer.h"
#include "managers/startup/CCurlInitializer.h"
#include "managers/startup/CSingleton.h"

namespace vx_transfers {

bool CVxTransfersInitializer::initialize() {
    if (CCryptoEngineInitializer* crypto = CSingleton<CCryptoEngineInitializer>::getInstance()) {
        crypto->initialize();
    }
    CCurlInitializer* curl = CSingleton<CCurlInitializer>::getInstance();
    return curl != nullptr && curl->initialize();
}

}  // namespace vx_transfers
