#include "CManagersLogTail.h"

#include <fstream>

#include "CManagersTestEnvironment.h"
#include "platform/Log.h"

namespace vx_transfers {

CManagersLogTail::CManagersLogTail() : m_path(CManagersTestEnvironment::logFilePath()), m_start(0) {
    // The logger exists and has its file open before the mark is taken.
    VXT_LOG_INFO("-- log mark --");
    std::ifstream in(m_path, std::ios::binary | std::ios::ate);
    m_start = in ? static_cast<long long>(in.tellg()) : 0;
}

std::vector<std::string> CManagersLogTail::texts(const std::string& level) const {
    std::vector<std::string> result;
    std::ifstream in(m_path, std::ios::binary);
    in.seekg(m_start);
    std::string raw;
    const std::string marker = "[" + level + "] ";
    while (std::getline(in, raw)) {
        // "[date] [pid tid] [Level] text"
        const size_t at = raw.find(marker);
        if (at != std::string::npos) {
            result.push_back(raw.substr(at + marker.size()));
        }
    }
    return result;
}

size_t CManagersLogTail::count(const std::string& level, const std::string& text) const {
    size_t n = 0;
    for (const std::string& line : texts(level)) {
        n += line == text ? 1 : 0;
    }
    return n;
}

}  // namespace vx_transfers
