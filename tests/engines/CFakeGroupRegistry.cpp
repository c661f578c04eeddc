#include "CFakeGroupRegistry.h"

namespace vx_transfers {

CFakeTransferGroup* CFakeGroupRegistry::addGroup() {
    GroupInitParams params;
    const int id = createGroup(params);
    return dynamic_cast<CFakeTransferGroup*>(getGroupById(id).get());
}

ITransferGroup* CFakeGroupRegistry::onGroupCreate(GroupInitParams& params) {
    return new CFakeTransferGroup(params.groupId);
}

// Nothing is restored in these tests.
ITransferGroup* CFakeGroupRegistry::onGroupCreate(CGroupsDbInfoBase::GroupInfo&, void*,
                                                  unsigned long long, bool) {
    return nullptr;
}

void CFakeGroupRegistry::getGroupInfos(
    CDatabaseDumpAnalyzer&, std::vector<Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>>&) {}

}  // namespace vx_transfers
