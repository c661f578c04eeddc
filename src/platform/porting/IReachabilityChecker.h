#pragma once

#include <Poco/BasicEvent.h>

#include <string>

namespace vx_transfers {

// Watches, once started, whether a host name can be resolved, and fires `hostResolvedEvent`
// with true, once, on a thread of its own when it can. The destructor stops the watch without
// waiting for a resolution in progress; no event fires after it returns. It must not run
// inside a handler of the object's own event.
class IReachabilityChecker {
public:
    Poco::BasicEvent<const bool> hostResolvedEvent;

    virtual ~IReachabilityChecker() = default;

    // Starts watching; a second call does nothing.
    virtual void start() = 0;

    // A new checker for `host`, owned by the caller, or null if it cannot be made.
    static IReachabilityChecker* create(const std::string& host);
};

}  // namespace vx_transfers
