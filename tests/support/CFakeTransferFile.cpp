#include "support/CFakeTransferFile.h"

#include <Poco/Delegate.h>

namespace vxt_test {

using vx_transfers::ITransferChannel;

CFakeTransferFile::CFakeTransferFile(std::string uid, std::string bucketUid, int groupId)
    : m_uid(std::move(uid)), m_bucketUid(std::move(bucketUid)), m_groupId(groupId) {}

CFakeTransferFile::~CFakeTransferFile() = default;

void CFakeTransferFile::attach(ITransferChannel& channel) {
    detach();
    m_channel = &channel;
    channel.progressEvent += Poco::delegate(this, &CFakeTransferFile::onProgressEvent);
    channel.stateEvent += Poco::delegate(this, &CFakeTransferFile::onStateEvent);
}

void CFakeTransferFile::detach() {
    if (m_channel != nullptr) {
        m_channel->progressEvent -= Poco::delegate(this, &CFakeTransferFile::onProgressEvent);
        m_channel->stateEvent -= Poco::delegate(this, &CFakeTransferFile::onStateEvent);
        m_channel = nullptr;
    }
}

void CFakeTransferFile::setOnProgress(std::function<void(long long)> onProgress) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onProgress = std::move(onProgress);
}

void CFakeTransferFile::onProgressEvent(const void*, const long long& delta) {
    Event event;
    event.delta = delta;
    record(event);
    std::function<void(long long)> onProgress;
    long long sum = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        onProgress = m_onProgress;
        sum = m_sum;
    }
    if (onProgress) {
        onProgress(sum);
    }
}

void CFakeTransferFile::onStateEvent(const void*, const ITransferChannel::StateEventData& data) {
    Event event;
    event.isState = true;
    event.state = data;
    record(event);
}

void CFakeTransferFile::record(const Event& event) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_events.push_back(event);
    m_sum += event.delta;
    m_changed.notify_all();
}

CFakeTransferFile::Events CFakeTransferFile::events() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

std::vector<CFakeTransferFile::State> CFakeTransferFile::states() const {
    std::vector<State> states;
    for (const Event& event : events()) {
        if (event.isState) states.push_back(event.state.state);
    }
    return states;
}

std::vector<long long> CFakeTransferFile::progress() const {
    std::vector<long long> deltas;
    for (const Event& event : events()) {
        if (!event.isState) deltas.push_back(event.delta);
    }
    return deltas;
}

long long CFakeTransferFile::progressSum() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sum;
}

bool CFakeTransferFile::waitFor(const std::function<bool(const Events&)>& predicate,
                                std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return predicate(m_events); });
}

bool CFakeTransferFile::waitForState(State state, std::chrono::milliseconds timeout,
                                     int count) const {
    return waitFor(
        [state, count](const Events& events) {
            int seen = 0;
            for (const Event& event : events) {
                if (event.isState && event.state.state == state) ++seen;
            }
            return seen >= count;
        },
        timeout);
}

}  // namespace vxt_test
