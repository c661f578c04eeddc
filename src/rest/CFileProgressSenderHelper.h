#pragma once

#include <string>

namespace vx_transfers {

class CFileProgressSender;

// What an upload group keeps to report its files' progress: the sender and its bucket.
class CFileProgressSenderHelper {
public:
    // Uses the process's sender; without one, every report is dropped.
    CFileProgressSenderHelper();
    // Uses the given sender, which must outlive this object; null drops every report.
    explicit CFileProgressSenderHelper(CFileProgressSender* sender);

    void registerGroup(const std::string& bucketId, const std::string& token);
    void reportProgress(const std::string& fileId, unsigned long long progress);

private:
    CFileProgressSender* m_sender;  // not owned
    std::string m_bucketId;
    std::string m_token;
};

}  // namespace vx_transfers
