#pragma once

#include <Poco/Mutex.h>
#include <Poco/SharedPtr.h>

#include <list>
#include <vector>

#include "db/CGroupsDbInfoBase.h"
#include "groups/GroupInitParams.h"
#include "groups/ITransferGroup.h"

namespace vx_transfers {

class CDatabaseDumpAnalyzer;
class ITransferEngineCallback;

// The registry of the live groups of one direction: makes groups (from the application or the
// database), hands out ids, finds groups. The manager proxy's lock serialises the application's
// calls, but the engine's thread removes finished groups without it; so the list has a lock of
// its own, taken last and never held while calling into a group that locks.
class CGroupManagerBase {
public:
    using GroupPtr = Poco::SharedPtr<ITransferGroup>;
    using GroupList = std::list<GroupPtr>;
    using iterator = GroupList::iterator;

    CGroupManagerBase();
    virtual ~CGroupManagerBase();

    CGroupManagerBase(const CGroupManagerBase&) = delete;
    CGroupManagerBase& operator=(const CGroupManagerBase&) = delete;

    void setTransferEngineCallback(ITransferEngineCallback* engineCallback);
    // The new group's id, or -1 when it could not be made.
    int createGroup(GroupInitParams& params);
    // At start-up, from the records that CDatabaseDumpAnalyzer has loaded.
    void createGroupsFromDbInfo(void* callback, unsigned long long minMultipartSize,
                                bool verifyUploads);
    int findGroupByBucketId(const std::string& bucketId);
    GroupPtr getGroupById(int groupId);
    GroupPtr getFront();
    void removeFront();
    // The first group whose pointer is not in `groups`; null when all are.
    GroupPtr findGroupNotInList(GroupList& groups);
    void removeGroup(GroupPtr& group);
    void removeGroup(int groupId);
    void passCallbackToGroups(void* callback);
    void removeAll();
    // Appends a copy of the list, safe to walk while the engine removes groups.
    void getGroups(GroupList& groups);
    bool isGroupInList(ITransferGroup* group);
    // Only while no other thread can change the list (start-up, tests); else use getGroups.
    iterator begin();
    iterator end();
    size_t size();

protected:
    virtual ITransferGroup* onGroupCreate(GroupInitParams& params) = 0;
    virtual ITransferGroup* onGroupCreate(CGroupsDbInfoBase::GroupInfo& info, void* callback,
                                          unsigned long long minMultipartSize,
                                          bool verifyUploads) = 0;
    virtual void getGroupInfos(
        CDatabaseDumpAnalyzer& analyzer,
        std::vector<Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>>& infos) = 0;

    GroupPtr getGroupByIdNoLock(int groupId);

    Poco::FastMutex m_listMutex;  // m_groups and m_nextGroupId
    GroupList m_groups;
    int m_nextGroupId;
    ITransferEngineCallback* m_engineCallback;
};

}  // namespace vx_transfers
