#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace vx_transfers {

// The calls that fake channels received, in the order in which they came, from whatever thread.
// Entries read "<channel>.<call>", e.g. "a1.start" or "a1.speed=333".
class CCallJournal {
public:
    void record(const std::string& entry);
    std::vector<std::string> entries() const;
    // The entries that begin with `prefix`, in order.
    std::vector<std::string> entriesStartingWith(const std::string& prefix) const;
    size_t count(const std::string& entry) const;
    // Waits until `entry` has been recorded `times` times; false after the timeout.
    bool waitFor(const std::string& entry, size_t times = 1,
                 std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
    void clear();

private:
    size_t countNoLock(const std::string& entry) const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_entries;
};

}  // namespace vx_transfers
