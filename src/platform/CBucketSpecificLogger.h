#pragma once

#include <string>

namespace vx_transfers {

// Prefix of every log line written by a group, file or channel, so one transfer can be
// followed through an interleaved log. Configured once, before its owner's thread starts.
class CBucketSpecificLogger {
public:
    CBucketSpecificLogger() = default;
    CBucketSpecificLogger(const std::string& bucketUid, unsigned int groupId,
                          const std::string& fileUid, int channelIndex);

    void configure(const std::string& bucketUid, unsigned int groupId, const std::string& fileUid,
                   int channelIndex);

    // "[bucket[group]: file: channel] "; the file part is left out when the uid is empty and
    // the channel part when the index is -1.
    std::string getMessagePrefix() const;

private:
    std::string m_bucketUid;
    unsigned int m_groupId = 0xFFFFFFFFu;
    std::string m_fileUid;
    int m_channelIndex = -1;
};

}  // namespace vx_transfers
