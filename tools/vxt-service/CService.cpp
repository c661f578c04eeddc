#include "vxt-service/CService.h"

#include "vxt-service/CServiceImpl.h"

namespace vxt_service {

CService::CService(const ServiceConfig& config) : m_impl(std::make_unique<CServiceImpl>(config)) {}

CService::~CService() = default;

void CService::start() { m_impl->start(); }
void CService::stop() { m_impl->stop(); }
unsigned short CService::port() const { return m_impl->port(); }
std::string CService::baseUrl() const { return m_impl->baseUrl(); }
std::string CService::rootUrl() const { return m_impl->rootUrl(); }
const ServiceConfig& CService::config() const { return m_impl->config(); }
std::string CService::dataDir() const { return m_impl->dataDir(); }
CServiceImpl& CService::impl() { return *m_impl; }

}  // namespace vxt_service
