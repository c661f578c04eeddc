#pragma once

#include <string>

namespace vx_transfers {
namespace version {

// The library's own version, as the build set it (for example "0.1.0"). `version` is replaced.
void getSelfVersion(std::string& version);

// The operating system's name and version, for the user agent and the log banner, for example
// "Linux 6.1.0-18-amd64 x86_64 (Debian GNU/Linux 12 (bookworm))". `version` is replaced; never
// empty.
void getOsVersion(std::string& version);

}  // namespace version
}  // namespace vx_transfers
