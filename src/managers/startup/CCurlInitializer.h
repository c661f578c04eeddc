#pragma once

#include <curl/curl.h>

namespace vx_transfers {

// libcurl's process-wide set-up, done once and undone at process exit. Reached through
// CSingleton<CCurlInitializer>; CVxTransfersInitializer::initialize() runs it.
class CCurlInitializer {
public:
    using GlobalInitFunction = CURLcode (*)(long flags);
    using GlobalCleanupFunction = void (*)();

    // The two functions are libcurl's own unless a test puts its counting fakes in.
    explicit CCurlInitializer(GlobalInitFunction globalInit = &curl_global_init,
                              GlobalCleanupFunction globalCleanup = &curl_global_cleanup);
    ~CCurlInitializer();

    // True once libcurl is set up. A failure is logged and the next call tries again.
    bool initialize();

    CCurlInitializer(const CCurlInitializer&) = delete;
    CCurlInitializer& operator=(const CCurlInitializer&) = delete;

private:
    GlobalInitFunction m_globalInit;
    GlobalCleanupFunction m_globalCleanup;
    bool m_initialized = false;
};

}  // namespace vx_transfers
