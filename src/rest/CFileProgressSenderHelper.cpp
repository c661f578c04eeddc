#include "rest/CFileProgressSenderHelper.h"

#include "platform/Log.h"
#include "rest/CFileProgressSender.h"

namespace vx_transfers {

CFileProgressSenderHelper::CFileProgressSenderHelper()
    : CFileProgressSenderHelper(CFileProgressSender::getInstance()) {
    if (m_sender == nullptr) {
        VXT_LOG_ERROR("Unable to get instance of file progress sender!");
    }
}

CFileProgressSenderHelper::CFileProgressSenderHelper(CFileProgressSender* sender)
    : m_sender(sender) {}

void CFileProgressSenderHelper::registerGroup(const std::string& bucketId,
                                              const std::string& token) {
    m_bucketId = bucketId;
    m_token = token;
}

void CFileProgressSenderHelper::reportProgress(const std::string& fileId,
                                               unsigned long long progress) {
    if (m_sender != nullptr) {
        m_sender->reportProgress(fileId, m_bucketId, m_token, progress);
    }
}

}  // namespace vx_transfers
