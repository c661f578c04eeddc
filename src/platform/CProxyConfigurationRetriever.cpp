#include "platform/CProxyConfigurationRetriever.h"

#include <Poco/Environment.h>
#include <proxy.h>

#include <cstdlib>
#include <string>

#include "platform/Log.h"

namespace vx_transfers {

namespace {

// libproxy hands out a null-terminated list of malloc'ed strings; release it on every path,
// including a URI parse that throws.
class CProxyListGuard {
public:
    explicit CProxyListGuard(char** list) : m_list(list) {}
    ~CProxyListGuard() {
        for (char** entry = m_list; *entry != nullptr; ++entry) {
            std::free(*entry);
        }
        std::free(m_list);
    }
    CProxyListGuard(const CProxyListGuard&) = delete;
    CProxyListGuard& operator=(const CProxyListGuard&) = delete;

private:
    char** m_list;
};

// The proxy URL as it may appear in the log: the password never does.
std::string withoutPassword(const std::string& proxyUrl) {
    const std::string::size_type schemeEnd = proxyUrl.find("://");
    const std::string::size_type authorityStart =
        schemeEnd == std::string::npos ? 0 : schemeEnd + 3;
    const std::string::size_type at = proxyUrl.find('@', authorityStart);
    if (at == std::string::npos) {
        return proxyUrl;
    }
    const std::string::size_type colon = proxyUrl.find(':', authorityStart);
    if (colon == std::string::npos || colon > at) {
        return proxyUrl;
    }
    return proxyUrl.substr(0, colon + 1) + "***" + proxyUrl.substr(at);
}

}  // namespace

CProxyConfigurationRetriever::CProxyConfigurationRetriever() {
    Poco::Environment::set("PX_CONFIG_ORDER", "config_envvar");
    m_factory = px_proxy_factory_new();
    if (m_factory == nullptr) {
        VXT_LOG_ERROR("Unable to create the libproxy factory, connections will be direct");
    }
}

CProxyConfigurationRetriever::~CProxyConfigurationRetriever() {
    if (m_factory != nullptr) {
        px_proxy_factory_free(m_factory);
    }
}

bool CProxyConfigurationRetriever::retrieve(const Poco::URI& destination, ProxyConfig& config) {
    if (m_factory == nullptr) {
        return false;
    }
    char** proxies = px_proxy_factory_get_proxies(m_factory, destination.toString().c_str());
    if (proxies == nullptr) {
        return false;
    }
    CProxyListGuard guard(proxies);
    if (proxies[0] == nullptr) {
        return false;
    }

    const std::string proxyUrl(proxies[0]);
    VXT_LOG_INFO("Libproxy returned the following proxy url: " << withoutPassword(proxyUrl));
    if (proxyUrl == "direct://") {
        VXT_LOG_INFO("libproxy returned string identifying direct connection (w/o a proxy)");
        return false;
    }

    const Poco::URI parsed(proxyUrl);
    config.uri = parsed;
    config.uri.setUserInfo("");

    const std::string& userInfo = parsed.getUserInfo();
    if (!userInfo.empty()) {
        const std::string::size_type colon = userInfo.find(':');
        if (colon == std::string::npos) {
            config.username = userInfo;
        } else {
            config.username = userInfo.substr(0, colon);
            config.password = userInfo.substr(colon + 1);
        }
    }
    return true;
}

}  // namespace vx_transfers
