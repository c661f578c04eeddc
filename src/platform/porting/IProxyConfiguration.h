#pragma once

#include <string>

namespace vx_transfers {
namespace porting {

// The platform's proxy setting for plain HTTP, read once when the object is made.
class IProxyConfiguration {
public:
    virtual ~IProxyConfiguration() = default;

    // Whether a proxy is set.
    virtual bool isProxyUsed() = 0;
    // Replaces `host` with the proxy's host name; empty when none is set.
    virtual void getProxyHost(std::string& host) = 0;

    // A new object, freed with delete, or null if it cannot be made.
    static IProxyConfiguration* create();
};

}  // namespace porting
}  // namespace vx_transfers
