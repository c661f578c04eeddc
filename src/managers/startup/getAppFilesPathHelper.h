#pragma once

#include <string>

namespace vx_transfers {

// The application files folder (home of the database and the log) as a UTF-8 path, made on
// disk if it is missing. `path` is left as it was when no folder is configured; it is still
// assigned when the folder cannot be made, so the caller's own open reports the problem.
// Never throws and never logs (the logger itself asks for its folder here).
void getAppFilesPathHelper(std::string& path);

}  // namespace vx_transfers
