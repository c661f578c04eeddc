#include <Poco/FileStream.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "managers/startup/CCurlInitializer.h"
#include "managers/startup/getAppFilesPathHelper.h"
#include "vx_transfers/CVxTransfersInitializer.h"

namespace vx_transfers {
namespace {

int g_initCalls = 0;
int g_cleanupCalls = 0;
CURLcode g_initResults[4] = {};

CURLcode countingInit(long flags) {
    EXPECT_EQ(CURL_GLOBAL_ALL, flags);
    return g_initResults[g_initCalls++ % 4];
}

void countingCleanup() { ++g_cleanupCalls; }

std::string readLog() {
    std::string folder;
    getAppFilesPathHelper(folder);
    Poco::FileInputStream in(folder + "/vx_transfers.log");
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class CCurlInitializerTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_initCalls = 0;
        g_cleanupCalls = 0;
        for (CURLcode& result : g_initResults) {
            result = CURLE_OK;
        }
    }
};

TEST_F(CCurlInitializerTest, SecondInitializeDoesNotInitializeLibcurlAgain) {
    {
        CCurlInitializer initializer(&countingInit, &countingCleanup);
        EXPECT_TRUE(initializer.initialize());
        EXPECT_TRUE(initializer.initialize());
        EXPECT_EQ(1, g_initCalls);
        EXPECT_EQ(0, g_cleanupCalls);
    }
    EXPECT_EQ(1, g_cleanupCalls);
}

TEST_F(CCurlInitializerTest, FailureIsLoggedWithTheCodeAndTheNextCallTriesAgain) {
    g_initResults[0] = CURLE_FAILED_INIT;
    {
        CCurlInitializer initializer(&countingInit, &countingCleanup);
        EXPECT_FALSE(initializer.initialize());
        EXPECT_NE(std::string::npos,
                  readLog().find("Libcurl initialization failure, libcurl error code2"));

        EXPECT_TRUE(initializer.initialize());
        EXPECT_EQ(2, g_initCalls);
    }
    EXPECT_EQ(1, g_cleanupCalls);
}

TEST_F(CCurlInitializerTest, NeverInitializedMeansNoCleanup) {
    g_initResults[0] = CURLE_FAILED_INIT;
    {
        CCurlInitializer initializer(&countingInit, &countingCleanup);
        EXPECT_FALSE(initializer.initialize());
    }
    EXPECT_EQ(0, g_cleanupCalls);
}

TEST(CVxTransfersInitializerTest, InitializesTheRealLibrariesAndMayBeCalledAgain) {
    EXPECT_TRUE(CVxTransfersInitializer::initialize());
    EXPECT_TRUE(CVxTransfersInitializer::initialize());
}

}  // namespace
}  // namespace vx_transfers
