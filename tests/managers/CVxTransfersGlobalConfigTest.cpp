#include <Poco/Environment.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "managers/startup/CUserAgentGenerator.h"
#include "platform/ProxyConfig.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {
namespace {

// The configuration is one object for the process: every test puts back what it found.
class CVxTransfersGlobalConfigTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_config = CVxTransfersGlobalConfig::getInstance();
        ASSERT_NE(nullptr, m_config);
        m_savedUrl = m_config->getRestEndPointUrl();
        m_savedUserAgent = m_config->getUserAgent();
        m_savedPath = m_config->getAppFilesPath();
    }

    void TearDown() override {
        m_config->setRestEndPointUrl(m_savedUrl);
        m_config->setUserAgent(m_savedUserAgent);
        m_config->setAppFilesPath(m_savedPath);
    }

    CVxTransfersGlobalConfig* m_config = nullptr;
    std::string m_savedUrl;
    std::string m_savedUserAgent;
    std::wstring m_savedPath;
};

// Restores the proxy variables that libproxy reads.
class CScopedProxyEnvironment {
public:
    CScopedProxyEnvironment() {
        for (const char* name : kNames) {
            m_saved.push_back(Poco::Environment::has(name) ? Poco::Environment::get(name) : "");
            ::unsetenv(name);
        }
    }
    ~CScopedProxyEnvironment() {
        for (size_t i = 0; i < m_saved.size(); ++i) {
            if (m_saved[i].empty()) {
                ::unsetenv(kNames[i]);
            } else {
                Poco::Environment::set(kNames[i], m_saved[i]);
            }
        }
    }

private:
    static constexpr const char* kNames[] = {"http_proxy",  "https_proxy", "HTTP_PROXY",
                                             "HTTPS_PROXY", "no_proxy",    "NO_PROXY",
                                             "all_proxy",   "ALL_PROXY"};
    std::vector<std::string> m_saved;
};

TEST_F(CVxTransfersGlobalConfigTest, StartsWithAnHttpsEndPointAndTheGeneratedUserAgent) {
    std::string generated;
    CUserAgentGenerator::generate(generated);
    EXPECT_EQ(generated, m_config->getUserAgent());
    EXPECT_EQ(0u, m_config->getRestEndPointUrl().rfind("https://", 0))
        << m_config->getRestEndPointUrl();
}

TEST_F(CVxTransfersGlobalConfigTest, EmptyUrlAndUserAgentKeepTheOldValuesButAnEmptyPathIsStored) {
    m_config->setRestEndPointUrl("http://127.0.0.1:8080/base");
    m_config->setUserAgent("app/1.0");
    m_config->setAppFilesPath(L"/tmp/some-folder");

    m_config->setRestEndPointUrl("");
    m_config->setUserAgent("");
    m_config->setAppFilesPath(L"");

    EXPECT_EQ("http://127.0.0.1:8080/base", m_config->getRestEndPointUrl());
    EXPECT_EQ("app/1.0", m_config->getUserAgent());
    EXPECT_EQ(L"", m_config->getAppFilesPath());
}

TEST_F(CVxTransfersGlobalConfigTest, ProxyIsChosenForTheRestEndPoint) {
    CScopedProxyEnvironment environment;
    Poco::Environment::set("https_proxy", "http://user:se:cret@127.0.0.1:3128");

    m_config->setRestEndPointUrl("https://api.vx-transfers.invalid");
    ProxyConfig proxy;
    ASSERT_TRUE(m_config->getProxyConfig(proxy));
    EXPECT_EQ("127.0.0.1", proxy.uri.getHost());
    EXPECT_EQ(3128, proxy.uri.getPort());
    EXPECT_EQ("user", proxy.username);
    EXPECT_EQ("se:cret", proxy.password);

    // Only https has a proxy here, so a plain-http end-point goes direct.
    m_config->setRestEndPointUrl("http://api.vx-transfers.invalid");
    ProxyConfig direct;
    EXPECT_FALSE(m_config->getProxyConfig(direct));
}

}  // namespace
}  // namespace vx_transfers
