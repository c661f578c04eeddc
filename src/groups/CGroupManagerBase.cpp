#include "groups/CGroupManagerBase.h"

#include <algorithm>

#include "db/CDatabaseDumpAnalyzer.h"
#include "managers/startup/CSingleton.h"

namespace vx_transfers {

CGroupManagerBase::CGroupManagerBase() : m_nextGroupId(0), m_engineCallback(nullptr) {}

CGroupManagerBase::~CGroupManagerBase() = default;

void CGroupManagerBase::setTransferEngineCallback(ITransferEngineCallback* engineCallback) {
    m_engineCallback = engineCallback;
}

int CGroupManagerBase::createGroup(GroupInitParams& params) {
    {
        Poco::FastMutex::ScopedLock lock(m_listMutex);
        params.groupId = m_nextGroupId;
    }
    params.isNew = true;
    // Made outside the list's lock: the constructor writes to the database.
    ITransferGroup* group = onGroupCreate(params);
    if (group == nullptr) {
        return -1;
    }
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    m_groups.push_back(GroupPtr(group));
    return m_nextGroupId++;
}

void CGroupManagerBase::createGroupsFromDbInfo(void* callback, unsigned long long minMultipartSize,
                                               bool verifyUploads) {
    CDatabaseDumpAnalyzer* analyzer = CSingleton<CDatabaseDumpAnalyzer>::getInstance();
    if (analyzer == nullptr) {
        return;
    }
    std::vector<Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>> infos;
    getGroupInfos(*analyzer, infos);
    if (infos.empty()) {
        return;
    }
    for (Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>& info : infos) {
        ITransferGroup* group = onGroupCreate(*info, callback, minMultipartSize, verifyUploads);
        if (group == nullptr) {
            continue;
        }
        {
            Poco::FastMutex::ScopedLock lock(m_listMutex);
            m_groups.push_back(GroupPtr(group));
            m_nextGroupId = std::max(m_nextGroupId, info->groupId);
        }
        // In this order: the group is paused and holds its counter when its files come in.
        if (info->paused) {
            group->pauseGroup();
        }
        // Restored as it was; nothing to write back.
        group->setRetryCounter(info->retryCount, false);
        group->loadInfoFromDb();
    }
    // Ids above the highest loaded one are free, including those of groups that failed to load.
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    ++m_nextGroupId;
}

int CGroupManagerBase::findGroupByBucketId(const std::string& bucketId) {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    for (GroupPtr& group : m_groups) {
        std::string groupBucketId;
        group->getBucketId(groupBucketId);
        if (groupBucketId == bucketId) {
            return group->getId();
        }
    }
    return -1;
}

CGroupManagerBase::GroupPtr CGroupManagerBase::getGroupById(int groupId) {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    return getGroupByIdNoLock(groupId);
}

CGroupManagerBase::GroupPtr CGroupManagerBase::getGroupByIdNoLock(int groupId) {
    for (GroupPtr& group : m_groups) {
        if (group->getId() == groupId) {
            return group;
        }
    }
    return GroupPtr();
}

CGroupManagerBase::GroupPtr CGroupManagerBase::getFront() {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    return m_groups.empty() ? GroupPtr() : m_groups.front();
}

void CGroupManagerBase::removeFront() {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    m_groups.pop_front();
}

CGroupManagerBase::GroupPtr CGroupManagerBase::findGroupNotInList(GroupList& groups) {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    for (GroupPtr& group : m_groups) {
        const bool listed = std::any_of(groups.begin(), groups.end(), [&](const GroupPtr& other) {
            return other.get() == group.get();
        });
        if (!listed) {
            return group;
        }
    }
    return GroupPtr();
}

void CGroupManagerBase::removeGroup(GroupPtr& group) {
    // The argument may be one of the list's own entries: keep the group alive past the erase,
    // and destroy it, if this was the last reference, after the list's lock is released.
    GroupPtr keep = group;
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    for (iterator it = m_groups.begin(); it != m_groups.end(); ++it) {
        if (it->get() == keep.get()) {
            m_groups.erase(it);
            return;
        }
    }
}

void CGroupManagerBase::removeGroup(int groupId) {
    GroupPtr group = getGroupById(groupId);
    if (!group.isNull()) {
        removeGroup(group);
    }
}

void CGroupManagerBase::passCallbackToGroups(void* callback) {
    GroupList groups;
    getGroups(groups);  // setCallback takes each group's lock: not under the list's
    for (GroupPtr& group : groups) {
        group->setCallback(callback);
    }
}

void CGroupManagerBase::removeAll() {
    GroupList groups;
    {
        Poco::FastMutex::ScopedLock lock(m_listMutex);
        groups.swap(m_groups);
    }
}

void CGroupManagerBase::getGroups(GroupList& groups) {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    groups.insert(groups.end(), m_groups.begin(), m_groups.end());
}

bool CGroupManagerBase::isGroupInList(ITransferGroup* group) {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    return std::any_of(m_groups.begin(), m_groups.end(),
                       [&](const GroupPtr& entry) { return entry.get() == group; });
}

CGroupManagerBase::iterator CGroupManagerBase::begin() { return m_groups.begin(); }

CGroupManagerBase::iterator CGroupManagerBase::end() { return m_groups.end(); }

size_t CGroupManagerBase::size() {
    Poco::FastMutex::ScopedLock lock(m_listMutex);
    size_t count = 0;
    for (iterator it = m_groups.begin(); it != m_groups.end(); ++it) {
        ++count;
    }
    return count;
}

}  // namespace vx_transfers
