#pragma once

#include <Poco/Condition.h>
#include <Poco/Mutex.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>

#include <functional>
#include <list>
#include <map>
#include <memory>

namespace vx_transfers {

class ITransferGroup;

// Resumes failed groups that have retries left, some time after they failed, without the
// application doing anything. A process-wide timer with one thread and a table of groups with the
// moment each is due; what a retry means is the group's business, this only calls
// resumeGroup(true), which posts the resume to the group's engine.
//
// The table holds raw pointers: a group removes itself (removeFailedGroup) when it is resumed by
// other means, cancelled or destroyed. Callers hold their group's lock, so the order of locks is
// group, then m_mtx. The worker calls resumeGroup with m_mtx held, which takes no group lock
// and only posts a request; so a group being destroyed, which removes itself first, never dies
// while the worker uses its pointer.
class CFailedGroupsRestarter : public Poco::Runnable {
public:
    // Now, in whole seconds since the epoch.
    using NowSecondsFunction = std::function<unsigned long long()>;

    static constexpr unsigned int kDefaultRestartIntervalSec = 300;

    // The process-wide instance, made (and its thread started) on first use; null if it could not
    // be allocated.
    static CFailedGroupsRestarter* getInstance();
    // The interval the process-wide instance is made with. Only an instance made afterwards
    // sees it; it lets a test shorten the very first wait, which setGroupRestartInterval cannot.
    static void setIntervalForNewInstance(unsigned int seconds);

    // The library uses getInstance(); separate instances, with their own interval and time
    // source, serve tests. The thread starts here.
    explicit CFailedGroupsRestarter(unsigned int restartIntervalSec = kDefaultRestartIntervalSec,
                                    NowSecondsFunction nowSeconds = NowSecondsFunction());
    // Ends the thread at once, without waiting for the current wait to time out.
    ~CFailedGroupsRestarter() override;

    CFailedGroupsRestarter(const CFailedGroupsRestarter&) = delete;
    CFailedGroupsRestarter& operator=(const CFailedGroupsRestarter&) = delete;

    void run() override;

    // Takes effect from the next wait; the wait in progress is not shortened.
    void setGroupRestartInterval(unsigned int seconds);
    // The group is due one interval from now; a second registration replaces the earlier time.
    void registerFailedGroup(ITransferGroup* group);
    void removeFailedGroup(ITransferGroup* group);

private:
    // Caller holds m_mtx. Takes the due groups out of the table.
    void getGroupsToRestartBySchedule(std::list<ITransferGroup*>& groups);
    void restartAllGroupsInList(std::list<ITransferGroup*>& groups);
    // Caller holds m_mtx. Seconds until the earliest due group, at most the interval.
    unsigned int getTimeToWaitForNextRestart();
    unsigned long long nowSeconds() const;

    static Poco::FastMutex m_mtx;  // the singleton pointer, every table and interval
    static std::unique_ptr<CFailedGroupsRestarter> m_instPtr;
    static unsigned int m_intervalForNewInstanceSec;

    unsigned int m_restartIntervalSec;
    Poco::Thread m_thread;
    Poco::Condition m_condition;  // signalled at shutdown only
    bool m_stop;
    std::map<ITransferGroup*, unsigned long long> m_failedGroups;  // due time, epoch seconds
    NowSecondsFunction m_nowSeconds;
};

}  // namespace vx_transfers
