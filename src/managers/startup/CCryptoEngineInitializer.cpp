#include "managers/startup/CCryptoEngineInitializer.h"

#include "platform/porting/ICryptoInitializer.h"

namespace vx_transfers {

CCryptoEngineInitializer::CCryptoEngineInitializer()
    : m_cryptoInitializer(ICryptoInitializer::create()) {}

CCryptoEngineInitializer::~CCryptoEngineInitializer() {
    if (m_cryptoInitializer) {
        m_cryptoInitializer->uninitialize();
    }
}

void CCryptoEngineInitializer::initialize() {
    if (m_cryptoInitializer) {
        m_cryptoInitializer->initialize();
    }
}

}  // namespace vx_transfers
