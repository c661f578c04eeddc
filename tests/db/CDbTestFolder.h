#pragma once

#include <string>

namespace vx_transfers {

// The application files folder of this test binary: made once under /tmp, set in
// CVxTransfersGlobalConfig before anything logs (so the log file lies in it for the whole
// run, wherever a test points the library afterwards), and removed when the binary ends. A child
// process started by a test gets its folder through the environment variable kChildFolderVariable
// and leaves it for its parent to remove.
class CDbTestFolder {
public:
    static constexpr const char* kChildFolderVariable = "VXT_DB_TEST_CHILD_FOLDER";

    // The folder, made and configured on first use.
    static const std::string& path();
    // Points the library at `folder` (an empty text means no folder).
    static void useAppFilesPath(const std::string& folder);
    // Points the library back at path().
    static void restoreAppFilesPath();
    // The log file of this process.
    static std::string logFilePath();

private:
    static std::string makeFolder();
};

}  // namespace vx_transfers
