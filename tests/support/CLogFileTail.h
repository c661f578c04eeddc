#pragma once

#include <string>
#include <vector>

namespace vx_transfers {

// The lines that the library logs from now on: remembers where the library's log file ends, and
// reads what comes after. Lines are split into their level ("Error", "Warning", "Information")
// and their text.
class CLogFileTail {
public:
    struct Line {
        std::string level;
        std::string text;
    };

    // `logPath`: the file the library's logger writes to.
    explicit CLogFileTail(std::string logPath);

    std::vector<Line> lines() const;
    // The texts of the new lines of one level.
    std::vector<std::string> texts(const std::string& level) const;
    // How many new lines of `level` begin with `prefix`.
    size_t countStartingWith(const std::string& level, const std::string& prefix) const;
    // How many new lines of `level` read exactly `text`.
    size_t count(const std::string& level, const std::string& text) const;

private:
    std::string m_path;
    long long m_start;
};

}  // namespace vx_transfers
