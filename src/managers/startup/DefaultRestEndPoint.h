#pragma once

namespace vx_transfers {

// Used until the application names its service. The host is a placeholder in a reserved
// top-level domain, so a library that was never configured fails fast instead of talking to
// somebody else's server.
constexpr const char* kDefaultRestEndPointUrl = "https://api.vx-transfers.invalid";

}  // namespace vx_transfers
