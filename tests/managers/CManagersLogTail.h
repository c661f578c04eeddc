#pragma once

#include <string>
#include <vector>

namespace vx_transfers {

// The lines that the library logs from the moment of construction on, split into level
// ("Information", "Warning", "Error") and text.
class CManagersLogTail {
public:
    CManagersLogTail();

    // The texts of the new lines of one level, in order.
    std::vector<std::string> texts(const std::string& level) const;
    size_t count(const std::string& level, const std::string& text) const;

private:
    std::string m_path;
    long long m_start;
};

}  // namespace vx_transfers
