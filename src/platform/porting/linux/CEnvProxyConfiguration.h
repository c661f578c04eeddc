#pragma once

#include <string>

#include "platform/porting/IProxyConfiguration.h"

namespace vx_transfers {
namespace porting {

// The plain-HTTP proxy from the environment: http_proxy, then HTTP_PROXY, then all_proxy and
// ALL_PROXY, read once by the constructor. A value without a host is ignored with a warning.
class CEnvProxyConfiguration : public IProxyConfiguration {
public:
    CEnvProxyConfiguration();

    bool isProxyUsed() override;
    void getProxyHost(std::string& host) override;

private:
    std::string m_host;  // empty when no usable proxy is set
};

}  // namespace porting
}  // namespace vx_transfers
