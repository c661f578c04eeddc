#include "platform/porting/linux/CEnvProxyConfiguration.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>

#include <cstdlib>
#include <new>

#include "platform/Log.h"

namespace vx_transfers {
namespace porting {

IProxyConfiguration* IProxyConfiguration::create() {
    return new (std::nothrow) CEnvProxyConfiguration();
}

namespace {

// The host of a proxy setting such as "http://user:pw@proxy:3128/" or "proxy:3128"; empty if
// there is none to be found.
std::string hostOf(const std::string& value) {
    const std::string withScheme =
        value.find("://") == std::string::npos ? "http://" + value : value;
    try {
        return Poco::URI(withScheme).getHost();
    } catch (const Poco::Exception&) {
        return std::string();
    }
}

}  // namespace

CEnvProxyConfiguration::CEnvProxyConfiguration() {
    for (const char* name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"}) {
        const char* value = std::getenv(name);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        m_host = hostOf(value);
        if (m_host.empty()) {
            VXT_LOG_WARNING("Ignoring the proxy variable " << name << ": no host in it");
        }
        return;
    }
}

bool CEnvProxyConfiguration::isProxyUsed() { return !m_host.empty(); }

void CEnvProxyConfiguration::getProxyHost(std::string& host) { host = m_host; }

}  // namespace porting
}  // namespace vx_transfers
