#pragma once

#include <string>

namespace vx_transfers {

// The application files folder of this test binary, set before any test logs; the log file and
// the database live in it for the whole run.
class CManagersTestEnvironment {
public:
    static const std::string& folder();
    static std::string logFilePath() { return folder() + "/vx_transfers.log"; }
};

}  // namespace vx_transfers
