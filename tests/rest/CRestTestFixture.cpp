#include "CRestTestFixture.h"

#include <fstream>
#include <sstream>

#include "CRestTestEnvironment.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vxt_test {

namespace {

std::string logPath() { return CRestTestEnvironment::scratchDir() + "/vx_transfers.log"; }

size_t logFileSize() {
    std::ifstream file(logPath(), std::ios::binary | std::ios::ate);
    return file ? static_cast<size_t>(file.tellg()) : 0;
}

}  // namespace

void CRestTestFixture::SetUp() {
    m_service.reset(new CLocalService());
    setEndPoint(m_service->baseUrl());
    markLog();
}

void CRestTestFixture::TearDown() { m_service.reset(); }

void CRestTestFixture::setEndPoint(const std::string& url) {
    vx_transfers::CVxTransfersGlobalConfig::getInstance()->setRestEndPointUrl(url);
}

CLocalService& CRestTestFixture::restartService(const CLocalService::Options& options) {
    m_service.reset();
    m_service.reset(new CLocalService(options));
    setEndPoint(m_service->baseUrl());
    return *m_service;
}

std::vector<CServiceControlClient::RequestRecord> CRestTestFixture::requests(
    const std::string& route) {
    return m_service->control().requests(route);
}

std::vector<CServiceControlClient::RequestRecord> CRestTestFixture::allRequests() {
    return m_service->control().requests(std::uint64_t{0});
}

CServiceControlClient::RequestRecord CRestTestFixture::onlyRequest(const std::string& route) {
    std::vector<CServiceControlClient::RequestRecord> found = requests(route);
    EXPECT_EQ(1u, found.size()) << "requests of route " << route;
    return found.empty() ? CServiceControlClient::RequestRecord() : found.front();
}

void CRestTestFixture::markLog() { m_logMark = logFileSize(); }

std::string CRestTestFixture::logSinceMark() const {
    std::ifstream file(logPath(), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    const std::string all = text.str();
    // After a rotation the file starts afresh and everything in it is new.
    return m_logMark <= all.size() ? all.substr(m_logMark) : all;
}

const std::string& CRestTestFixture::scratchDir() { return CRestTestEnvironment::scratchDir(); }

}  // namespace vxt_test
