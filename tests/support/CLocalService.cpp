#include "support/CLocalService.h"

#include <stdexcept>

#include "support/CJsonHttpClient.h"
#include "vxt-service/CService.h"

namespace vxt_test {

CLocalService::CLocalService() : CLocalService(Options()) {}

CLocalService::CLocalService(const Options& options) : m_options(options) {
    vxt_service::ServiceConfig config;
    config.host = "127.0.0.1";
    config.port = 0;
    config.user = options.user;
    config.password = options.password;
    config.tls = options.tls;
    config.pathPrefix = options.pathPrefix;
    config.dataUrlLifetimeSeconds = options.dataUrlLifetimeSeconds;
    m_service = std::make_unique<vxt_service::CService>(config);
    m_service->start();
    m_control = std::make_unique<CServiceControlClient>(m_service->rootUrl());
}

CLocalService::~CLocalService() { stop(); }

std::string CLocalService::baseUrl() const { return m_service->baseUrl(); }
std::string CLocalService::rootUrl() const { return m_service->rootUrl(); }
unsigned short CLocalService::port() const { return m_service->port(); }
bool CLocalService::tls() const { return m_options.tls; }
std::string CLocalService::dataDir() const { return m_service->dataDir(); }

std::string CLocalService::login() {
    Json::Value body;
    body["userId"] = m_options.user;
    body["password"] = m_options.password;
    CJsonHttpClient client(rootUrl());
    auto response = client.postJson(m_service->config().pathPrefix + "/login", body);
    if (response.status != 200 || !response.json["token"].isString()) {
        throw std::runtime_error("login failed with " + std::to_string(response.status) + ": " +
                                 response.body);
    }
    return response.json["token"].asString();
}

void CLocalService::stop() {
    if (m_service) m_service->stop();
}

}  // namespace vxt_test
