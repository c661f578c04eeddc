#include "groups/CGroupManager.h"

#include <exception>
#include <new>

#include "db/CDatabaseDumpAnalyzer.h"
#include "db/CGroupsDbInfo.h"
#include "engines/IUploadEngineCallback.h"
#include "groups/CUploadGroup.h"
#include "platform/Log.h"

namespace vx_transfers {

namespace {

CUploadGroup* makeGroup(CUploadGroup::TransferGroupInitParams& params) {
    try {
        return new (std::nothrow) CUploadGroup(params);
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Error configuring group: Exception: " << e.what());
        return nullptr;
    }
}

}  // namespace

ITransferGroup* CGroupManager::onGroupCreate(GroupInitParams& params) {
    // Anything else is a programming fault: the cast throws std::bad_cast.
    CUploadGroup::TransferGroupInitParams& uploadParams =
        dynamic_cast<CUploadGroup::TransferGroupInitParams&>(params);
    uploadParams.engineCallback = dynamic_cast<IUploadEngineCallback*>(m_engineCallback);
    return makeGroup(uploadParams);
}

ITransferGroup* CGroupManager::onGroupCreate(CGroupsDbInfoBase::GroupInfo& info, void* callback,
                                             unsigned long long minMultipartSize,
                                             bool verifyUploads) {
    CGroupsDbInfo::GroupInfo& record = dynamic_cast<CGroupsDbInfo::GroupInfo&>(info);
    CUploadGroup::TransferGroupInitParams params;
    params.copyIdentityFrom(record);
    params.callback = callback;
    params.isNew = false;
    params.minMultipartSize = minMultipartSize;
    params.engineCallback = dynamic_cast<IUploadEngineCallback*>(m_engineCallback);
    params.verifyUploads = verifyUploads;
    CUploadGroup* group = makeGroup(params);
    if (group != nullptr && record.marked) {
        // The files are not loaded yet: the engine's thread does the marking later.
        group->markQueue(true);
    }
    return group;
}

void CGroupManager::getGroupInfos(
    CDatabaseDumpAnalyzer& analyzer,
    std::vector<Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>>& infos) {
    // Copies: the analyzer's records are dropped once start-up is over.
    for (const CGroupsDbInfo::GroupInfo& record : analyzer.getUploadGroups()) {
        infos.push_back(
            Poco::SharedPtr<CGroupsDbInfoBase::GroupInfo>(new CGroupsDbInfo::GroupInfo(record)));
    }
}

}  // namespace vx_transfers
