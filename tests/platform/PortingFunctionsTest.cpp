#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/porting/ICryptoInitializer.h"
#include "platform/porting/IOSResource.h"
#include "platform/porting/getIllegalFilenameChars.h"
#include "platform/porting/version.h"
#include "vx_transfers_version_config.h"

namespace vx_transfers {
namespace {

TEST(PortingFunctionsTest, IllegalCharactersKeepNamesPortableButLeaveSeparators) {
    const std::string illegal = getIllegalFilenameChars();
    for (const char c : std::string("\\:*?\"<>|\x01\x09\x0A\x1F")) {
        SCOPED_TRACE(static_cast<int>(c));
        EXPECT_NE(std::string::npos, illegal.find(c));
    }
    for (const char c : std::string("/. -_()[]{}'!#$%&+,;=@^`~aZ09\x7F")) {
        SCOPED_TRACE(static_cast<int>(c));
        EXPECT_EQ(std::string::npos, illegal.find(c));
    }
    EXPECT_EQ(std::string::npos, illegal.find('\0'));
    EXPECT_EQ(std::string::npos, illegal.find("\xC3"));  // UTF-8 names stay whole
}

TEST(PortingFunctionsTest, VersionsComeFromTheBuildAndTheSystem) {
    std::string self = "stale";
    version::getSelfVersion(self);
    EXPECT_EQ(VX_TRANSFERS_VERSION, self);

    std::string os = "stale";
    version::getOsVersion(os);
    EXPECT_EQ(0u, os.rfind("Linux ", 0)) << os;
    EXPECT_EQ(std::string::npos, os.find('\n'));
}

TEST(PortingFunctionsTest, NoBookmarksOnThisPlatformAndCryptoNeedsNoSetUp) {
    EXPECT_EQ(nullptr, std::unique_ptr<IOSResource>(IOSResource::create("bookmark:abc")));

    std::unique_ptr<ICryptoInitializer> crypto(ICryptoInitializer::create());
    ASSERT_NE(nullptr, crypto);
    crypto->initialize();
    crypto->uninitialize();
}

}  // namespace
}  // namespace vx_transfers
