#include "files/CUploadFileSinglePart.h"

#include "groups/CUploadGroup.h"
#include "platform/Log.h"
#include "rest/CRestApiFileStatusUpdate.h"

namespace vx_transfers {

namespace {

void fillStatusDetails(CRestApiFileStatusUpdate::RequestDetails& details, const std::string& fileId,
                       CUploadGroup& group, long long bytesUploaded,
                       CRestApiFileStatusUpdate::RequestDetails::FileStatus status) {
    details.fileId = fileId;
    group.getBucketId(details.bucketId);
    group.getBucketToken(details.token);
    details.progress = static_cast<unsigned long long>(bytesUploaded);
    details.status = status;
}

}  // namespace

dt_error CUploadFileSinglePart::initialize(CUploadManager::FileDesc& desc, CUploadGroup* group,
                                           bool calculateMd5, unsigned long long bufferSize) {
    const dt_error result = CUploadFileBase::initialize(desc, group, calculateMd5, bufferSize);
    if (result != DT_SUCCESS) {
        return result;
    }
    VXT_BLOG_INFO(m_logger,
                  "Initiating single-part upload of a file with uid " << m_fileDesc.fileUid);
    Poco::FastMutex::ScopedLock lock(m_mutex);
    createChannel(m_fileDesc.url, 0, m_fileSize, m_fileDesc.additionalHttpHeaders, 0, true);
    return DT_SUCCESS;
}

bool CUploadFileSinglePart::onComplete() {
    if (m_parentGroup == nullptr) {
        return false;
    }
    CRestApiFileStatusUpdate::RequestDetails details;
    fillStatusDetails(details, m_fileDesc.fileUid, *m_parentGroup, m_bytesUploaded,
                      CRestApiFileStatusUpdate::RequestDetails::COMPLETED);
    if (sendRestRequest<CRestApiFileStatusUpdate>(details) != DT_SUCCESS) {
        VXT_BLOG_ERROR(m_logger, "Error calling complete REST API!");
        return false;
    }
    return true;
}

void CUploadFileSinglePart::onCancel() {
    if (m_parentGroup == nullptr) {
        return;
    }
    CRestApiFileStatusUpdate::RequestDetails details;
    fillStatusDetails(details, m_fileDesc.fileUid, *m_parentGroup, m_bytesUploaded,
                      CRestApiFileStatusUpdate::RequestDetails::CANCELLED);
    sendRestRequest<CRestApiFileStatusUpdate>(details);
}

}  // namespace vx_transfers
