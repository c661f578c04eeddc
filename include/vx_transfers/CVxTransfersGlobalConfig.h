#pragma once

#include <memory>
#include <string>

#include "vx_transfers/export.h"

namespace Poco {
class FastMutex;
}

namespace vx_transfers {

struct ProxyConfig;
class CProxyConfigurationRetriever;

// Settings that hold for the whole library. Set them at start-up, after
// CVxTransfersInitializer::initialize() and before the first manager is constructed:
// the getters return references into this object, so changing a value while other
// threads read it races.
class VX_TRANSFERS_API CVxTransfersGlobalConfig {
public:
    // Not thread-safe on the first call: make it from start-up code.
    static CVxTransfersGlobalConfig* getInstance();

    ~CVxTransfersGlobalConfig();

    // Folder of the database and the log file; stored even when empty. Set it before
    // anything logs, or the log goes to the working directory for the life of the process.
    void setAppFilesPath(const std::wstring& path);
    const std::wstring& getAppFilesPath();

    // REST end-point (http or https, may carry a path). An empty value is ignored.
    void setRestEndPointUrl(const std::string& url);
    const std::string& getRestEndPointUrl();

    // User agent for REST calls and transfers. An empty value is ignored.
    void setUserAgent(const std::string& userAgent);
    const std::string& getUserAgent();

    // The proxy that applies to the REST end-point, from the proxy environment variables.
    // False means a direct connection. Throws Poco::SyntaxException when the end-point or the
    // proxy URL cannot be parsed. Look-ups are serialised.
    bool getProxyConfig(ProxyConfig& config);

    CVxTransfersGlobalConfig(const CVxTransfersGlobalConfig&) = delete;
    CVxTransfersGlobalConfig& operator=(const CVxTransfersGlobalConfig&) = delete;

private:
    CVxTransfersGlobalConfig();

    static std::unique_ptr<CVxTransfersGlobalConfig> m_instancePtr;

    std::unique_ptr<Poco::FastMutex> m_mutex;
    std::wstring m_appFilesPath;    // guarded by m_mutex
    std::string m_restEndPointUrl;  // guarded by m_mutex
    std::string m_userAgent;        // guarded by m_mutex
    // Proxy look-ups have a lock of their own: they log, and the logger reads the application
    // files path under m_mutex when it is first made.
    std::unique_ptr<Poco::FastMutex> m_proxyMutex;
    std::unique_ptr<CProxyConfigurationRetriever> m_proxyRetriever;  // guarded by m_proxyMutex
};

}  // namespace vx_transfers
