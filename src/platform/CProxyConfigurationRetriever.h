#pragma once

#include <Poco/URI.h>

#include "platform/ProxyConfig.h"

struct pxProxyFactory_;

namespace vx_transfers {

// Asks libproxy which proxy applies to a destination. libproxy is told to read the proxy
// environment variables only (http_proxy, https_proxy, no_proxy, ...), never the desktop's
// settings. Not thread-safe: the global configuration serialises the calls under its mutex.
class CProxyConfigurationRetriever {
public:
    // Sets PX_CONFIG_ORDER for the whole process, then creates the libproxy factory.
    CProxyConfigurationRetriever();
    ~CProxyConfigurationRetriever();

    // True when a proxy applies to `destination`; `config` then holds its URI (without user
    // info) and the user name and password taken from that user info. False means a direct
    // connection, also when libproxy failed. A proxy URL that Poco cannot parse throws.
    bool retrieve(const Poco::URI& destination, ProxyConfig& config);

    CProxyConfigurationRetriever(const CProxyConfigurationRetriever&) = delete;
    CProxyConfigurationRetriever& operator=(const CProxyConfigurationRetriever&) = delete;

private:
    pxProxyFactory_* m_factory = nullptr;
};

}  // namespace vx_transfers
