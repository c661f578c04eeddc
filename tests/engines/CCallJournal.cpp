#include "CCallJournal.h"

namespace vx_transfers {

void CCallJournal::record(const std::string& entry) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.push_back(entry);
    m_changed.notify_all();
}

std::vector<std::string> CCallJournal::entries() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_entries;
}

std::vector<std::string> CCallJournal::entriesStartingWith(const std::string& prefix) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> result;
    for (const std::string& entry : m_entries) {
        if (entry.compare(0, prefix.size(), prefix) == 0) {
            result.push_back(entry);
        }
    }
    return result;
}

size_t CCallJournal::count(const std::string& entry) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return countNoLock(entry);
}

bool CCallJournal::waitFor(const std::string& entry, size_t times,
                           std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return countNoLock(entry) >= times; });
}

void CCallJournal::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.clear();
}

size_t CCallJournal::countNoLock(const std::string& entry) const {
    size_t n = 0;
    for (const std::string& e : m_entries) {
        n += e == entry ? 1 : 0;
    }
    return n;
}

}  // namespace vx_transfers
