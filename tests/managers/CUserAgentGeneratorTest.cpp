#include <gtest/gtest.h>

#include <string>

#include "managers/startup/CUserAgentGenerator.h"
#include "platform/porting/version.h"

namespace vx_transfers {
namespace {

TEST(CUserAgentGeneratorTest, IsProductSelfVersionDashOsVersionAndFitsInOneHeaderLine) {
    std::string selfVersion;
    std::string osVersion;
    version::getSelfVersion(selfVersion);
    version::getOsVersion(osVersion);

    std::string userAgent = "previous value";
    CUserAgentGenerator::generate(userAgent);

    EXPECT_EQ("vx-transfers " + selfVersion + " - " + osVersion, userAgent);
    EXPECT_FALSE(selfVersion.empty());
    EXPECT_FALSE(osVersion.empty());
    EXPECT_EQ(std::string::npos, userAgent.find_first_of("\r\n")) << userAgent;
}

}  // namespace
}  // namespace vx_transfers
