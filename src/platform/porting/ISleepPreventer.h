#pragma once

namespace vx_transfers {

// Keeps the machine from going to sleep while transfers run. Called under its owner's mutex.
class ISleepPreventer {
public:
    virtual ~ISleepPreventer() = default;

    // Starts preventing sleep; true on success or if already preventing.
    virtual bool start() = 0;
    // Whether sleep is being prevented now.
    virtual bool isPreventing() = 0;
    // Lets the machine sleep again; true on success or if not preventing.
    virtual bool stop() = 0;

    // A new preventer, owned by the caller, or null where the platform has none (for example
    // without a reachable system bus).
    static ISleepPreventer* create();
};

}  // namespace vx_transfers
