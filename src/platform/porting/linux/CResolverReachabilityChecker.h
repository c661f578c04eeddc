#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/porting/IReachabilityChecker.h"

namespace vx_transfers {

// Resolves the host on a background thread until it succeeds, waiting between attempts with a
// delay that doubles up to a ceiling. A name lookup cannot be interrupted, so the thread is
// detached and shares its state with this object: the destructor marks that state stopped and
// returns at once, and the thread ends by itself after its current lookup, firing nothing.
// The event fires with that shared state's mutex held, so a destructor on another thread waits
// for a handler that is running.
class CResolverReachabilityChecker : public IReachabilityChecker {
public:
    // True if `host` resolves.
    using Resolver = std::function<bool(const std::string& host)>;

    explicit CResolverReachabilityChecker(const std::string& host);
    // For tests: another resolver and other delays.
    CResolverReachabilityChecker(const std::string& host, Resolver resolver,
                                 std::chrono::milliseconds firstDelay,
                                 std::chrono::milliseconds maxDelay);
    ~CResolverReachabilityChecker() override;

    void start() override;

    // getaddrinfo(3) for any address family.
    static bool resolveWithGetaddrinfo(const std::string& host);

    CResolverReachabilityChecker(const CResolverReachabilityChecker&) = delete;
    CResolverReachabilityChecker& operator=(const CResolverReachabilityChecker&) = delete;

private:
    struct SharedState;

    static void runLoop(std::shared_ptr<SharedState> state);

    std::shared_ptr<SharedState> m_state;
    bool m_started = false;
};

}  // namespace vx_transfers
