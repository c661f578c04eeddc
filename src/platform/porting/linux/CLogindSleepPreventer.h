#pragma once

#include <memory>

#include "platform/porting/ISleepPreventer.h"
#include "platform/porting/linux/CSystemBus.h"

namespace vx_transfers {

// Prevents sleep with a logind inhibitor lock of type "sleep" in "block" mode: the lock holds
// for as long as its descriptor stays open. Calls are serialised by the owner.
class CLogindSleepPreventer : public ISleepPreventer {
public:
    explicit CLogindSleepPreventer(std::unique_ptr<CSystemBus> bus);
    ~CLogindSleepPreventer() override;

    bool start() override;
    bool isPreventing() override;
    bool stop() override;

private:
    std::unique_ptr<CSystemBus> m_bus;
    int m_inhibitFd = -1;
};

}  // namespace vx_transfers
