#pragma once

#include "groups/CGroupManagerBase.h"

namespace vx_transfers {

// The registry of upload groups.
class CGroupManager : public CGroupManagerBase {
protected:
    ITransferGroup* onGroupCreate(GroupInitParams& params) override;
    ITransferGroup* onGroupCreate(CGroupsDbInfoBase::GroupInfo& info, void* callback,
                                  unsigned long long minMultipartSize, bool verifyUploads) override;
    void getGroupInfos(CDatabaseDumpAnalyzer& analyzer,
                       std::vector<Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>>& infos) override;
};

}  // namespace vx_transfers
