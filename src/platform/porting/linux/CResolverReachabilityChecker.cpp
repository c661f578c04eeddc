#include "platform/porting/linux/CResolverReachabilityChecker.h"

#include <netdb.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

#include "platform/Log.h"

namespace vx_transfers {

namespace {

const std::chrono::milliseconds kFirstDelay(1000);
const std::chrono::milliseconds kMaxDelay(30000);

}  // namespace

struct CResolverReachabilityChecker::SharedState {
    std::string host;
    Resolver resolver;
    std::chrono::milliseconds firstDelay;
    std::chrono::milliseconds maxDelay;

    std::mutex mutex;
    std::condition_variable wakeUp;
    CResolverReachabilityChecker* owner = nullptr;  // guarded by mutex; null once stopped
};

IReachabilityChecker* IReachabilityChecker::create(const std::string& host) {
    if (host.empty()) {
        VXT_LOG_ERROR("Reachability check: no host name to resolve");
        return nullptr;
    }
    try {
        return new (std::nothrow) CResolverReachabilityChecker(host);
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Reachability check: cannot be made: " << e.what());
        return nullptr;
    }
}

CResolverReachabilityChecker::CResolverReachabilityChecker(const std::string& host)
    : CResolverReachabilityChecker(host, &CResolverReachabilityChecker::resolveWithGetaddrinfo,
                                   kFirstDelay, kMaxDelay) {}

CResolverReachabilityChecker::CResolverReachabilityChecker(const std::string& host,
                                                           Resolver resolver,
                                                           std::chrono::milliseconds firstDelay,
                                                           std::chrono::milliseconds maxDelay)
    : m_state(std::make_shared<SharedState>()) {
    m_state->host = host;
    m_state->resolver = std::move(resolver);
    m_state->firstDelay = firstDelay;
    m_state->maxDelay = std::max(firstDelay, maxDelay);
    m_state->owner = this;
}

CResolverReachabilityChecker::~CResolverReachabilityChecker() {
    std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->owner = nullptr;
    m_state->wakeUp.notify_all();
}

void CResolverReachabilityChecker::start() {
    if (m_started) {
        return;
    }
    try {
        std::thread(&CResolverReachabilityChecker::runLoop, m_state).detach();
        m_started = true;
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Reachability check: cannot start a thread: " << e.what());
    }
}

void CResolverReachabilityChecker::runLoop(std::shared_ptr<SharedState> state) {
    std::chrono::milliseconds delay = state->firstDelay;
    for (;;) {
        bool resolved = false;
        try {
            resolved = state->resolver(state->host);
        } catch (const std::exception& e) {
            VXT_LOG_ERROR("Reachability check: resolving " << state->host
                                                           << " failed: " << e.what());
        }
        std::unique_lock<std::mutex> lock(state->mutex);
        if (state->owner == nullptr) {
            return;
        }
        if (resolved) {
            try {
                const bool value = true;
                state->owner->hostResolvedEvent.notify(state->owner, value);
            } catch (const std::exception& e) {
                VXT_LOG_ERROR("Reachability check: a handler failed: " << e.what());
            }
            return;
        }
        VXT_LOG_INFO("Reachability check: cannot resolve " << state->host << ", next try in "
                                                           << delay.count() << " ms");
        if (state->wakeUp.wait_for(lock, delay, [&state] { return state->owner == nullptr; })) {
            return;
        }
        delay = std::min(delay * 2, state->maxDelay);
    }
}

bool CResolverReachabilityChecker::resolveWithGetaddrinfo(const std::string& host) {
    struct addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo* result = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &result);
    if (result != nullptr) {
        ::freeaddrinfo(result);
    }
    return error == 0;
}

}  // namespace vx_transfers
