#pragma once

#include <Poco/SharedPtr.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <string>

#include "channels/ITransferChannel.h"
#include "support/CInertTransferGroup.h"

namespace vx_transfers {

// A group for engine tests. It holds "files" as batches of channels that a test engine pops in
// order, and it records the resumes that the engine runs on its worker thread, so that a test
// can use a resume as a barrier: once it has run, every request posted before it has been served.
class CFakeTransferGroup : public vxt_test::CInertTransferGroup {
public:
    using ChannelList = std::list<Poco::SharedPtr<ITransferChannel>>;

    explicit CFakeTransferGroup(int id) : m_id(id) {}

    void addBatch(const ChannelList& channels);
    // The next batch, or false when there is none.
    bool popBatch(ChannelList& channels);

    int resumeCount();
    bool lastAutoRetry();
    // Waits until resumeGroupAsync has run `count` times in all; false after the timeout.
    bool waitForResumes(int count, std::chrono::milliseconds timeout = std::chrono::seconds(10));

    void resumeGroupAsync(bool autoRetry) override;
    int getId() override { return m_id; }
    void getBucketId(std::string& bucketId) override {
        bucketId = "bucket-" + std::to_string(m_id);
    }

private:
    const int m_id;
    std::mutex m_mutex;
    std::condition_variable m_resumed;
    std::deque<ChannelList> m_batches;
    int m_resumes = 0;
    bool m_lastAutoRetry = false;
};

}  // namespace vx_transfers
