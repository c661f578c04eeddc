#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "platform/porting/ISleepNotifier.h"
#include "platform/porting/linux/CSystemBus.h"

namespace vx_transfers {

// Listens on the system bus for logind's PrepareForSleep signal (true before sleep, false after
// waking) and fires `sleepEvent` with its argument on a thread of its own. The destructor wakes
// that thread through an eventfd and joins it.
class CLogindSleepNotifier : public ISleepNotifier {
public:
    // Subscribes and starts the thread; null (with a log line) if either fails.
    static CLogindSleepNotifier* open(std::unique_ptr<CSystemBus> bus);
    ~CLogindSleepNotifier() override;

    CLogindSleepNotifier(const CLogindSleepNotifier&) = delete;
    CLogindSleepNotifier& operator=(const CLogindSleepNotifier&) = delete;

private:
    explicit CLogindSleepNotifier(std::unique_ptr<CSystemBus> bus);

    bool subscribe();
    bool startThread();
    void run();
    bool waitForBus();
    static int onPrepareForSleep(sd_bus_message* message, void* userData, sd_bus_error* error);

    std::unique_ptr<CSystemBus> m_bus;
    sd_bus_slot* m_slot = nullptr;
    int m_wakeFd = -1;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

}  // namespace vx_transfers
