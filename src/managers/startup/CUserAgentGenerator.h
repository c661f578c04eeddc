#pragma once

#include <string>

namespace vx_transfers {

// The user agent that the library sends unless the application sets its own.
class CUserAgentGenerator {
public:
    // "vx-transfers <library version> - <OS version>". `userAgent` is replaced.
    static void generate(std::string& userAgent);
};

}  // namespace vx_transfers
