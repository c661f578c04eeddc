#include "platform/CBucketSpecificLogger.h"

#include <sstream>

namespace vx_transfers {

CBucketSpecificLogger::CBucketSpecificLogger(const std::string& bucketUid, unsigned int groupId,
                                             const std::string& fileUid, int channelIndex)
    : m_bucketUid(bucketUid),
      m_groupId(groupId),
      m_fileUid(fileUid),
      m_channelIndex(channelIndex) {}

void CBucketSpecificLogger::configure(const std::string& bucketUid, unsigned int groupId,
                                      const std::string& fileUid, int channelIndex) {
    m_bucketUid = bucketUid;
    m_groupId = groupId;
    m_fileUid = fileUid;
    m_channelIndex = channelIndex;
}

std::string CBucketSpecificLogger::getMessagePrefix() const {
    std::ostringstream prefix;
    prefix << "[" << m_bucketUid << "[" << m_groupId << "]";
    if (!m_fileUid.empty()) {
        prefix << ": " << m_fileUid;
    }
    if (m_channelIndex != -1) {
        prefix << ": " << m_channelIndex;
    }
    prefix << "] ";
    return prefix.str();
}

}  // namespace vx_transfers
