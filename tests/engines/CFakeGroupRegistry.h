#pragma once

#include <Poco/SharedPtr.h>

#include "CFakeTransferGroup.h"
#include "groups/CGroupManagerBase.h"

namespace vx_transfers {

// A registry whose groups are CFakeTransferGroup objects, for tests of the scheduler.
class CFakeGroupRegistry : public CGroupManagerBase {
public:
    // Registers a new fake group and returns it.
    CFakeTransferGroup* addGroup();

protected:
    ITransferGroup* onGroupCreate(GroupInitParams& params) override;
    ITransferGroup* onGroupCreate(CGroupsDbInfoBase::GroupInfo& info, void* callback,
                                  unsigned long long minMultipartSize, bool verifyUploads) override;
    void getGroupInfos(CDatabaseDumpAnalyzer& analyzer,
                       std::vector<Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>>& infos) override;
};

}  // namespace vx_transfers
