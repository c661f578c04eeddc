#pragma once

#include <Poco/URI.h>

#include <string>

namespace vx_transfers {

// The proxy that applies to a destination. The credentials come out of the proxy URL's user
// info, which is removed from `uri`.
struct ProxyConfig {
    Poco::URI uri;
    std::string username;
    std::string password;
};

}  // namespace vx_transfers
