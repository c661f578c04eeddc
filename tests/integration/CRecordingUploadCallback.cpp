#include "integration/CRecordingUploadCallback.h"

#include <sstream>

namespace vxt_test {

void CRecordingUploadCallback::onGroupStateChanged(GroupState& state) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_groupEvents.push_back(state);
    }
    m_changed.notify_all();
}

void CRecordingUploadCallback::onFileStateChanged(FileState& state) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_fileEvents.push_back(state);
    }
    m_changed.notify_all();
}

std::vector<CRecordingUploadCallback::GroupState> CRecordingUploadCallback::groupEvents() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_groupEvents;
}

std::vector<CRecordingUploadCallback::FileState> CRecordingUploadCallback::fileEvents() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_fileEvents;
}

std::size_t CRecordingUploadCallback::groupEventCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_groupEvents.size();
}

std::size_t CRecordingUploadCallback::fileEventCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_fileEvents.size();
}

namespace {

template <typename Event, typename Predicate>
long findFrom(const std::vector<Event>& events, const Predicate& predicate, std::size_t from) {
    for (std::size_t i = from; i < events.size(); ++i) {
        if (predicate(events[i])) return static_cast<long>(i);
    }
    return -1;
}

}  // namespace

long CRecordingUploadCallback::waitForGroup(const GroupPredicate& predicate,
                                            std::chrono::milliseconds timeout, std::size_t from,
                                            GroupState* match) {
    std::unique_lock<std::mutex> lock(m_mutex);
    long found = -1;
    m_changed.wait_for(lock, timeout, [&] {
        found = findFrom(m_groupEvents, predicate, from);
        return found >= 0;
    });
    if (found >= 0 && match != nullptr) *match = m_groupEvents[static_cast<std::size_t>(found)];
    return found;
}

long CRecordingUploadCallback::waitForFile(const FilePredicate& predicate,
                                           std::chrono::milliseconds timeout, std::size_t from,
                                           FileState* match) {
    std::unique_lock<std::mutex> lock(m_mutex);
    long found = -1;
    m_changed.wait_for(lock, timeout, [&] {
        found = findFrom(m_fileEvents, predicate, from);
        return found >= 0;
    });
    if (found >= 0 && match != nullptr) *match = m_fileEvents[static_cast<std::size_t>(found)];
    return found;
}

std::string CRecordingUploadCallback::describe() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::ostringstream out;
    out << m_groupEvents.size() << " group events:\n";
    for (const auto& g : m_groupEvents) {
        out << "  group " << g.groupId << " status " << g.status << " error " << g.errorType
            << " bytes " << g.bytesTransferred << "/" << g.bytesTotal << " empty " << g.empty
            << " paused " << g.paused << " marked " << g.queueMarked << " retries " << g.retryCount
            << "\n";
    }
    out << m_fileEvents.size() << " file events (last 40):\n";
    std::size_t first = m_fileEvents.size() > 40 ? m_fileEvents.size() - 40 : 0;
    for (std::size_t i = first; i < m_fileEvents.size(); ++i) {
        const auto& f = m_fileEvents[i];
        out << "  group " << f.groupId << " file '" << f.fileId << "' status " << f.status
            << " error " << f.fileErrorType << " bytes " << f.bytesTransferred << "/"
            << f.bytesTotal << "\n";
    }
    return out.str();
}

}  // namespace vxt_test
