#pragma once

#include <string>

namespace vx_transfers {

// The bytes that a name from the service may not keep: those that the common desktop file
// systems refuse, so that a downloaded tree can be copied to any of them. The path separator
// is not among them, because whole relative paths are cleaned with this set.
std::string getIllegalFilenameChars();

}  // namespace vx_transfers
