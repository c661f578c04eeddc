#include "CRestTestFixture.h"

#include <Poco/File.h>
#include <Poco/Path.h>
#include <Poco/TemporaryFile.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "managers/startup/CPocoSslInitializer.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vxt_test {

namespace {

std::string g_scratchDir;
std::unique_ptr<vx_transfers::CPocoSslInitializer> g_ssl;

std::string logPath() { return g_scratchDir + "/vx_transfers.log"; }

size_t logFileSize() {
    std::ifstream file(logPath(), std::ios::binary | std::ios::ate);
    return file ? static_cast<size_t>(file.tellg()) : 0;
}

}  // namespace

void CRestTestFixture::SetUpTestSuite() {
    if (!g_scratchDir.empty()) {
        return;
    }
    g_scratchDir = Poco::TemporaryFile::tempName();
    Poco::File(g_scratchDir).createDirectories();
    Poco::TemporaryFile::registerForDeletion(g_scratchDir);
    std::wstring widePath;
    vx_transfers::string_convert::StringToWstring(g_scratchDir, widePath);
    vx_transfers::CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(widePath);
    // A proxy of the machine running the tests must not carry the loopback calls.
    for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        unsetenv(name);
    }
    g_ssl.reset(new vx_transfers::CPocoSslInitializer());
}

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

const std::string& CRestTestFixture::scratchDir() { return g_scratchDir; }

}  // namespace vxt_test
