#pragma once

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
// database), hands out ids, finds groups. It takes no lock of its own: the manager proxy's lock
// guards every call, or the start-up path runs alone.
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
    bool isGroupInList(ITransferGroup* group);
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

    GroupList m_groups;
    int m_nextGroupId;
    ITransferEngineCallback* m_engineCallback;
};

}  // namespace vx_transfers
