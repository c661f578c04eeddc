#include "vx_transfers/CVxTransfersGlobalConfig.h"

#include <Poco/Mutex.h>
#include <Poco/URI.h>

#include <new>

#include "managers/startup/CUserAgentGenerator.h"
#include "managers/startup/DefaultRestEndPoint.h"
#include "platform/CProxyConfigurationRetriever.h"
#include "platform/ProxyConfig.h"

namespace vx_transfers {

std::unique_ptr<CVxTransfersGlobalConfig> CVxTransfersGlobalConfig::m_instancePtr;

CVxTransfersGlobalConfig* CVxTransfersGlobalConfig::getInstance() {
    if (!m_instancePtr) {
        try {
            m_instancePtr.reset(new (std::nothrow) CVxTransfersGlobalConfig());
        } catch (...) {
            // Out of memory while building the members: callers see no configuration.
            m_instancePtr.reset();
        }
    }
    return m_instancePtr.get();
}

CVxTransfersGlobalConfig::CVxTransfersGlobalConfig()
    : m_mutex(new Poco::FastMutex),
      m_restEndPointUrl(kDefaultRestEndPointUrl),
      m_proxyMutex(new Poco::FastMutex) {
    CUserAgentGenerator::generate(m_userAgent);
}

CVxTransfersGlobalConfig::~CVxTransfersGlobalConfig() = default;

void CVxTransfersGlobalConfig::setAppFilesPath(const std::wstring& path) {
    Poco::FastMutex::ScopedLock lock(*m_mutex);
    m_appFilesPath = path;
}

const std::wstring& CVxTransfersGlobalConfig::getAppFilesPath() {
    Poco::FastMutex::ScopedLock lock(*m_mutex);
    return m_appFilesPath;
}

void CVxTransfersGlobalConfig::setRestEndPointUrl(const std::string& url) {
    Poco::FastMutex::ScopedLock lock(*m_mutex);
    if (!url.empty()) {
        m_restEndPointUrl = url;
    }
}

const std::string& CVxTransfersGlobalConfig::getRestEndPointUrl() {
    Poco::FastMutex::ScopedLock lock(*m_mutex);
    return m_restEndPointUrl;
}

void CVxTransfersGlobalConfig::setUserAgent(const std::string& userAgent) {
    Poco::FastMutex::ScopedLock lock(*m_mutex);
    if (!userAgent.empty()) {
        m_userAgent = userAgent;
    }
}

const std::string& CVxTransfersGlobalConfig::getUserAgent() {
    Poco::FastMutex::ScopedLock lock(*m_mutex);
    return m_userAgent;
}

bool CVxTransfersGlobalConfig::getProxyConfig(ProxyConfig& config) {
    std::string endPoint;
    {
        Poco::FastMutex::ScopedLock lock(*m_mutex);
        endPoint = m_restEndPointUrl;
    }
    Poco::FastMutex::ScopedLock lock(*m_proxyMutex);
    if (!m_proxyRetriever) {
        m_proxyRetriever.reset(new (std::nothrow) CProxyConfigurationRetriever());
        if (!m_proxyRetriever) {
            return false;
        }
    }
    const Poco::URI destination(endPoint);
    return m_proxyRetriever->retrieve(destination, config);
}

}  // namespace vx_transfers
