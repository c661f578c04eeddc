#include "platform/porting/getIllegalFilenameChars.h"

namespace vx_transfers {

std::string getIllegalFilenameChars() {
    // Linux itself refuses only '/' and NUL, but downloaded trees are often copied to disks
    // formatted for other systems, which refuse these and the control characters as well.
    std::string chars = "\\:*?\"<>|";
    for (char c = 1; c < 0x20; ++c) {
        chars += c;
    }
    return chars;
}

}  // namespace vx_transfers
