#pragma once

#include <Poco/Mutex.h>

#include <memory>

namespace vx_transfers {

class ISleepPreventer;

// Keeps the machine awake while transfers run, shared by both managers through
// CSingleton<CSleepPreventerCounterProxy>. Every start of transfers from idle steps the counter
// up, every stop of the engines with transfers running steps it down; sleep is prevented from
// the first step up until a counter of exactly 1 gets stepped down. The counts are not paired
// (a start may count twice), so prevention may outlast the transfers: that is intended.
//
// The mutex is a leaf: the engines' workers step the counter under their own lock.
class CSleepPreventerCounterProxy {
public:
    // With the platform's preventer (ISleepPreventer::create()); without one the counter still
    // counts and nothing is prevented.
    CSleepPreventerCounterProxy();
    // With a given preventer, which the proxy owns; may be null.
    explicit CSleepPreventerCounterProxy(ISleepPreventer* preventer);
    ~CSleepPreventerCounterProxy();

    CSleepPreventerCounterProxy(const CSleepPreventerCounterProxy&) = delete;
    CSleepPreventerCounterProxy& operator=(const CSleepPreventerCounterProxy&) = delete;

    void sleepCounterIncrement();
    void sleepCounterDecrement();

    unsigned int getCounter();

private:
    std::unique_ptr<ISleepPreventer> m_preventer;
    unsigned int m_counter;
    Poco::FastMutex m_mutex;
};

}  // namespace vx_transfers
