#pragma once

#include <Poco/BasicEvent.h>

namespace vx_transfers {

// Tells when the machine is about to sleep (true) and when it has woken up (false). The event
// fires on a thread of the notifier's own.
class ISleepNotifier {
public:
    Poco::BasicEvent<const bool> sleepEvent;

    virtual ~ISleepNotifier() = default;

    // A new notifier, owned by the caller, or null where the platform cannot tell (for example
    // without a reachable system bus).
    static ISleepNotifier* create();
};

}  // namespace vx_transfers
