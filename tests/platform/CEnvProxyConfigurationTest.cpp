#include <gtest/gtest.h>

#include <memory>

#include "CPlatformTestEnvironment.h"
#include "platform/porting/linux/CEnvProxyConfiguration.h"

namespace vx_transfers {
namespace {

using platform_test::CScopedEnv;

class CEnvProxyConfigurationTest : public ::testing::Test {
protected:
    CScopedEnv m_http{"http_proxy", nullptr};
    CScopedEnv m_httpUpper{"HTTP_PROXY", nullptr};
    CScopedEnv m_all{"all_proxy", nullptr};
    CScopedEnv m_allUpper{"ALL_PROXY", nullptr};
};

TEST_F(CEnvProxyConfigurationTest, HostComesFromTheFirstVariableSet) {
    struct Row {
        const char* variable;
        const char* value;
        const char* host;
    };
    const Row rows[] = {
        {"http_proxy", "http://user:pw@proxy.test:3128/", "proxy.test"},
        {"HTTP_PROXY", "proxy-upper.test:8080", "proxy-upper.test"},
        {"all_proxy", "http://all.test", "all.test"},
        {"ALL_PROXY", "socks5://[::1]:1080", "::1"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        CScopedEnv proxy(row.variable, row.value);
        std::unique_ptr<porting::IProxyConfiguration> config(
            porting::IProxyConfiguration::create());
        ASSERT_NE(nullptr, config);
        EXPECT_TRUE(config->isProxyUsed());
        std::string host = "stale";
        config->getProxyHost(host);
        EXPECT_EQ(row.host, host);
    }
}

TEST_F(CEnvProxyConfigurationTest, LowerCaseVariableWinsOverTheOthers) {
    CScopedEnv lower("http_proxy", "http://lower.test");
    CScopedEnv upper("HTTP_PROXY", "http://upper.test");
    CScopedEnv all("all_proxy", "http://all.test");
    std::unique_ptr<porting::IProxyConfiguration> config(porting::IProxyConfiguration::create());
    std::string host;
    config->getProxyHost(host);
    EXPECT_EQ("lower.test", host);
}

TEST_F(CEnvProxyConfigurationTest, NoVariableOrGarbageMeansNoProxy) {
    const platform_test::CLogMark mark;
    const char* const values[] = {nullptr, "", "http://", "::::", "http://[::1", "/just/a/path"};
    for (const char* value : values) {
        SCOPED_TRACE(value == nullptr ? "(unset)" : value);
        CScopedEnv proxy("http_proxy", value);
        std::unique_ptr<porting::IProxyConfiguration> config(
            porting::IProxyConfiguration::create());
        ASSERT_NE(nullptr, config);
        EXPECT_FALSE(config->isProxyUsed());
        std::string host = "stale";
        config->getProxyHost(host);
        EXPECT_EQ("", host);
    }
    EXPECT_FALSE(
        mark.linesContaining("Ignoring the proxy variable http_proxy: no host in it").empty());
}

}  // namespace
}  // namespace vx_transfers
