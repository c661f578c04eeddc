#include "CLogFileTail.h"

#include <fstream>
#include <sstream>
#include <utility>

#include "platform/Log.h"

namespace vx_transfers {

namespace {

long long fileSize(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    return in ? static_cast<long long>(in.tellg()) : 0;
}

}  // namespace

CLogFileTail::CLogFileTail(std::string logPath) : m_path(std::move(logPath)), m_start(0) {
    // Makes sure that the logger exists and has its file open before the mark is taken.
    VXT_LOG_INFO("-- log mark --");
    m_start = fileSize(m_path);
}

std::vector<CLogFileTail::Line> CLogFileTail::lines() const {
    std::vector<Line> result;
    std::ifstream in(m_path, std::ios::binary);
    in.seekg(m_start);
    std::string raw;
    while (std::getline(in, raw)) {
        // "[date] [pid tid] [Level] text"
        const size_t open = raw.find("] [", raw.find("] [") + 1);
        const size_t close = open == std::string::npos ? open : raw.find("] ", open + 3);
        if (close == std::string::npos) {
            continue;
        }
        result.push_back({raw.substr(open + 3, close - open - 3), raw.substr(close + 2)});
    }
    return result;
}

std::vector<std::string> CLogFileTail::texts(const std::string& level) const {
    std::vector<std::string> result;
    for (const Line& line : lines()) {
        if (line.level == level) {
            result.push_back(line.text);
        }
    }
    return result;
}

size_t CLogFileTail::countStartingWith(const std::string& level, const std::string& prefix) const {
    size_t count = 0;
    for (const std::string& text : texts(level)) {
        count += text.compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
    }
    return count;
}

size_t CLogFileTail::count(const std::string& level, const std::string& text) const {
    size_t n = 0;
    for (const std::string& line : texts(level)) {
        n += line == text ? 1 : 0;
    }
    return n;
}

}  // namespace vx_transfers
