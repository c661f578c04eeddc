#include "managers/startup/CCurlInitializer.h"

#include "platform/Log.h"

namespace vx_transfers {

CCurlInitializer::CCurlInitializer(GlobalInitFunction globalInit,
                                   GlobalCleanupFunction globalCleanup)
    : m_globalInit(globalInit), m_globalCleanup(globalCleanup) {}

CCurlInitializer::~CCurlInitializer() {
    if (m_initialized) {
        m_globalCleanup();
    }
}

bool CCurlInitializer::initialize() {
    if (m_initialized) {
        return true;
    }
    const CURLcode code = m_globalInit(CURL_GLOBAL_ALL);
    if (code == CURLE_OK) {
        m_initialized = true;
    } else {
        VXT_LOG_ERROR("Libcurl initialization failure, libcurl error code" << code);
    }
    return m_initialized;
}

}  // namespace vx_transfers
