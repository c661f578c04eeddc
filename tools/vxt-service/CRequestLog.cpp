#include "vxt-service/CRequestLog.h"

#include <algorithm>

namespace vxt_service {

CRequestLog::CRequestLog() : m_origin(std::chrono::steady_clock::now()) {}

std::uint64_t CRequestLog::nowMicros() const {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::steady_clock::now() - m_origin)
                                          .count());
}

std::uint64_t CRequestLog::begin(RequestLogEntry entry) {
    std::uint64_t seq;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        seq = m_nextSeq++;
        entry.seq = seq;
        entry.startMicros = nowMicros();
        entry.finished = false;
        m_entries.push_back(std::move(entry));
        if (m_entries.size() > kCapacity) m_entries.pop_front();
        ++m_version;
    }
    m_changed.notify_all();
    return seq;
}

RequestLogEntry* CRequestLog::findNoLock(std::uint64_t seq) {
    if (m_entries.empty() || seq < m_entries.front().seq) return nullptr;
    std::size_t index = static_cast<std::size_t>(seq - m_entries.front().seq);
    return index < m_entries.size() ? &m_entries[index] : nullptr;
}

void CRequestLog::answer(std::uint64_t seq, int status, std::uint64_t bodyBytes,
                         const std::string& body) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        RequestLogEntry* entry = findNoLock(seq);
        if (entry == nullptr) return;
        entry->status = status;
        entry->bodyBytes = bodyBytes;
        entry->body = body.size() > kMaxBodyKept ? body.substr(0, kMaxBodyKept) : body;
        ++m_version;
    }
    m_changed.notify_all();
}

void CRequestLog::finish(std::uint64_t seq, int status, std::uint64_t bodyBytes,
                         std::uint64_t responseBodyBytes, const std::string& body, bool faulted) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        RequestLogEntry* entry = findNoLock(seq);
        if (entry == nullptr) return;
        entry->status = status;
        entry->bodyBytes = bodyBytes;
        entry->responseBodyBytes = responseBodyBytes;
        entry->body = body.size() > kMaxBodyKept ? body.substr(0, kMaxBodyKept) : body;
        entry->faulted = faulted;
        entry->endMicros = nowMicros();
        entry->finished = true;
        ++m_version;
    }
    m_changed.notify_all();
}

std::vector<RequestLogEntry> CRequestLog::entriesAfter(std::uint64_t afterSeq,
                                                       std::uint64_t& version) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    version = m_version;
    std::vector<RequestLogEntry> out;
    for (auto it = m_entries.rbegin(); it != m_entries.rend() && it->seq > afterSeq; ++it) {
        out.push_back(*it);
    }
    std::reverse(out.begin(), out.end());
    return out;
}

void CRequestLog::waitForChange(std::uint64_t version, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, timeout, [&] { return m_version != version; });
}

void CRequestLog::clear() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.clear();
        ++m_version;
    }
    m_changed.notify_all();
}

void CRequestLog::interrupt() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_version;
    }
    m_changed.notify_all();
}

}  // namespace vxt_service
