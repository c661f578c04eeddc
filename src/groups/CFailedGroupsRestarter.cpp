#include "groups/CFailedGroupsRestarter.h"

#include <Poco/Timestamp.h>

#include <exception>
#include <new>
#include <utility>

#include "groups/ITransferGroup.h"
#include "platform/Log.h"

namespace vx_transfers {

// m_mtx is defined first so that it outlives the instance destroyed at exit.
Poco::FastMutex CFailedGroupsRestarter::m_mtx;
std::unique_ptr<CFailedGroupsRestarter> CFailedGroupsRestarter::m_instPtr;
unsigned int CFailedGroupsRestarter::m_intervalForNewInstanceSec = kDefaultRestartIntervalSec;

CFailedGroupsRestarter* CFailedGroupsRestarter::getInstance() {
    Poco::FastMutex::ScopedLock lock(m_mtx);
    if (!m_instPtr) {
        m_instPtr.reset(new (std::nothrow) CFailedGroupsRestarter(m_intervalForNewInstanceSec));
    }
    return m_instPtr.get();
}

void CFailedGroupsRestarter::setIntervalForNewInstance(unsigned int seconds) {
    Poco::FastMutex::ScopedLock lock(m_mtx);
    m_intervalForNewInstanceSec = seconds;
}

CFailedGroupsRestarter::CFailedGroupsRestarter(unsigned int restartIntervalSec,
                                               NowSecondsFunction nowSeconds)
    : m_restartIntervalSec(restartIntervalSec), m_stop(false), m_nowSeconds(std::move(nowSeconds)) {
    VXT_LOG_INFO("Starting worker thread of group restarter");
    try {
        m_thread.start(*this);
    } catch (const std::exception& e) {
        // Groups still register, but nothing resumes them in this process.
        VXT_LOG_ERROR(
            "Failed to start thread of group restarter, failed group restart functionality will "
            "not work. Exception: "
            << e.what());
    }
}

CFailedGroupsRestarter::~CFailedGroupsRestarter() {
    try {
        {
            // Set and signalled under the lock that the worker holds from its check of m_stop
            // into its wait, so the signal cannot fall between the two.
            Poco::FastMutex::ScopedLock lock(m_mtx);
            m_stop = true;
            m_condition.signal();
        }
        m_thread.join();
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Failed to destroy thread of group restarter. Exception: " << e.what());
    }
}

void CFailedGroupsRestarter::run() {
    unsigned int wait;
    {
        Poco::FastMutex::ScopedLock lock(m_mtx);
        wait = m_restartIntervalSec;
    }
    std::list<ITransferGroup*> groups;
    for (;;) {
        {
            Poco::FastMutex::ScopedLock lock(m_mtx);
            if (!m_stop) {
                // Only shutdown signals; running out of time is the normal way out.
                m_condition.tryWait(m_mtx, static_cast<long>(wait) * 1000);
            }
            if (m_stop) {
                return;
            }
            getGroupsToRestartBySchedule(groups);
            // Still under m_mtx: a group that is being destroyed takes itself out of the table
            // first, under this lock, so none dies while its pointer is used here. resumeGroup
            // only posts to the group's engine, whose queue lock is a leaf.
            restartAllGroupsInList(groups);
            wait = getTimeToWaitForNextRestart();
            groups.clear();
            if (m_stop) {
                return;
            }
        }
    }
}

void CFailedGroupsRestarter::setGroupRestartInterval(unsigned int seconds) {
    Poco::FastMutex::ScopedLock lock(m_mtx);
    m_restartIntervalSec = seconds;
}

void CFailedGroupsRestarter::registerFailedGroup(ITransferGroup* group) {
    Poco::FastMutex::ScopedLock lock(m_mtx);
    const unsigned long long resumeAt = nowSeconds() + m_restartIntervalSec;
    m_failedGroups[group] = resumeAt;
    VXT_LOG_INFO(
        "Registering failed group in group restarter... Group should be resumed at: " << resumeAt);
}

void CFailedGroupsRestarter::removeFailedGroup(ITransferGroup* group) {
    Poco::FastMutex::ScopedLock lock(m_mtx);
    m_failedGroups.erase(group);
}

void CFailedGroupsRestarter::getGroupsToRestartBySchedule(std::list<ITransferGroup*>& groups) {
    const unsigned long long now = nowSeconds();
    for (auto it = m_failedGroups.begin(); it != m_failedGroups.end();) {
        if (now >= it->second) {
            VXT_LOG_INFO("Group restarter: obtained group to restart");
            groups.push_back(it->first);
            it = m_failedGroups.erase(it);
        } else {
            ++it;
        }
    }
}

void CFailedGroupsRestarter::restartAllGroupsInList(std::list<ITransferGroup*>& groups) {
    for (ITransferGroup* group : groups) {
        if (group) {
            group->resumeGroup(true);
        }
    }
}

unsigned int CFailedGroupsRestarter::getTimeToWaitForNextRestart() {
    const unsigned long long now = nowSeconds();
    unsigned long long wait = m_restartIntervalSec;
    for (const auto& entry : m_failedGroups) {
        // A time already past wraps to a huge figure and so never shortens the wait.
        const unsigned long long untilDue = entry.second - now;
        if (untilDue < wait) {
            wait = untilDue;
        }
    }
    return static_cast<unsigned int>(wait);
}

unsigned long long CFailedGroupsRestarter::nowSeconds() const {
    if (m_nowSeconds) {
        return m_nowSeconds();
    }
    return static_cast<unsigned long long>(Poco::Timestamp().epochTime());
}

}  // namespace vx_transfers
