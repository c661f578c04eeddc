// A stand-in for the file above a channel: answers the channel's questions about its ids,
// subscribes to a channel's two events and records them in order, so that tests can wait for
// a sequence of events (bounded) and read what was reported.
#ifndef VXT_TESTS_SUPPORT_CFAKETRANSFERFILE_H
#define VXT_TESTS_SUPPORT_CFAKETRANSFERFILE_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "channels/ITransferChannel.h"
#include "files/ITransferFile.h"

namespace vxt_test {

class CFakeTransferFile : public vx_transfers::ITransferFile {
public:
    using State = vx_transfers::ITransferChannel::State;

    struct Event {
        bool isState = false;
        long long delta = 0;                                     // progress events
        vx_transfers::ITransferChannel::StateEventData state{};  // state events
    };
    using Events = std::vector<Event>;

    explicit CFakeTransferFile(std::string uid = "file-uid", std::string bucketUid = "bucket-uid",
                               int groupId = 7);
    ~CFakeTransferFile() override;

    void getUid(std::string& uid) override { uid = m_uid; }
    void getBucketUid(std::string& bucketUid) override { bucketUid = m_bucketUid; }
    int getGroupId() override { return m_groupId; }
    const std::string& uid() const { return m_uid; }

    // Records the channel's events until detach(). The channel must end before this object
    // does (declare it after the file): the destructor does not touch it.
    void attach(vx_transfers::ITransferChannel& channel);
    void detach();
    // Runs on the channel's thread after each progress event is recorded, with the new sum.
    void setOnProgress(std::function<void(long long sum)> onProgress);

    Events events() const;
    std::vector<State> states() const;
    std::vector<long long> progress() const;
    long long progressSum() const;

    // Waits until `predicate` holds for the events recorded so far; false after `timeout`.
    bool waitFor(const std::function<bool(const Events&)>& predicate,
                 std::chrono::milliseconds timeout) const;
    // Waits until `state` has been recorded `count` times.
    bool waitForState(State state, std::chrono::milliseconds timeout, int count = 1) const;

private:
    void onProgressEvent(const void* sender, const long long& delta);
    void onStateEvent(const void* sender,
                      const vx_transfers::ITransferChannel::StateEventData& data);
    void record(const Event& event);

    std::string m_uid;
    std::string m_bucketUid;
    int m_groupId;
    vx_transfers::ITransferChannel* m_channel = nullptr;
    std::function<void(long long)> m_onProgress;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    Events m_events;
    long long m_sum = 0;
};

}  // namespace vxt_test

#endif
