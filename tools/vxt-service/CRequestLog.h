// What the service saw: one entry per routed request, added when its head is complete and
// finished when its answer is done. Readers can wait for the next change without polling.
#ifndef VXT_SERVICE_CREQUESTLOG_H
#define VXT_SERVICE_CREQUESTLOG_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "vxt-service/HttpTypes.h"

namespace vxt_service {

struct RequestLogEntry {
    std::uint64_t seq = 0;
    std::uint64_t connectionId = 0;
    std::string route;
    std::string method;
    std::string target;
    std::string path;
    std::vector<std::pair<std::string, std::string>> query;
    HeaderList headers;
    std::string body;
    std::uint64_t bodyBytes = 0;
    int status = 0;
    std::uint64_t responseBodyBytes = 0;
    std::uint64_t startMicros = 0;
    std::uint64_t endMicros = 0;
    bool faulted = false;
    bool finished = false;
};

class CRequestLog {
public:
    // Keeps at most this many entries; the oldest go first.
    static constexpr std::size_t kCapacity = 100000;
    // REST bodies are kept up to this many bytes.
    static constexpr std::size_t kMaxBodyKept = 65536;

    CRequestLog();

    // Microseconds since the log was made (the service's start).
    std::uint64_t nowMicros() const;

    // Adds an entry (seq and startMicros are assigned) and returns its seq.
    std::uint64_t begin(RequestLogEntry entry);
    // Records the status and request body of an entry whose answer is about to go out.
    void answer(std::uint64_t seq, int status, std::uint64_t bodyBytes, const std::string& body);
    // Completes an entry with what happened.
    void finish(std::uint64_t seq, int status, std::uint64_t bodyBytes,
                std::uint64_t responseBodyBytes, const std::string& body, bool faulted);

    // Entries with seq > afterSeq, and the log's version (which changes on every begin/finish).
    std::vector<RequestLogEntry> entriesAfter(std::uint64_t afterSeq, std::uint64_t& version) const;
    // Waits until the version differs from `version`, up to `timeout`.
    void waitForChange(std::uint64_t version, std::chrono::milliseconds timeout) const;
    void clear();
    // Wakes every waiter (used when the service stops).
    void interrupt();

private:
    RequestLogEntry* findNoLock(std::uint64_t seq);

    std::chrono::steady_clock::time_point m_origin;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::deque<RequestLogEntry> m_entries;  // guarded by m_mutex
    std::uint64_t m_nextSeq = 1;            // guarded by m_mutex
    std::uint64_t m_version = 0;            // guarded by m_mutex
};

}  // namespace vxt_service

#endif
