#include <Poco/File.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>

#include "CPlatformTestEnvironment.h"
#include "platform/porting/linux/CUtimensatAttributesModifier.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {
namespace {

class CUtimensatAttributesModifierTest : public ::testing::Test {
protected:
    std::wstring widePath(const std::string& path) {
        std::wstring wide;
        string_convert::StringToWstring(path, wide);
        return wide;
    }

    platform_test::CTempDir m_dir;
};

TEST_F(CUtimensatAttributesModifierTest, ModificationTimeRoundTripsInMilliseconds) {
    const std::string path = m_dir.file("f\xC3\xBCr.txt");
    std::ofstream(path) << "data";
    const unsigned long long dates[] = {1700000000123ull, 1000ull, 999ull, 4102444800999ull};
    for (const unsigned long long date : dates) {
        SCOPED_TRACE(date);
        std::unique_ptr<IFileAttributesModifier> modifier(IFileAttributesModifier::create());
        ASSERT_TRUE(modifier->open(widePath(path)));
        ASSERT_TRUE(modifier->setModificationDate(date));

        struct stat status;
        ASSERT_EQ(0, stat(path.c_str(), &status));
        EXPECT_EQ(static_cast<time_t>(date / 1000), status.st_mtim.tv_sec);
        EXPECT_EQ(static_cast<long>(date % 1000) * 1000000, status.st_mtim.tv_nsec);
        // The download's up-to-date check reads the time back through Poco, in whole seconds.
        EXPECT_EQ(static_cast<Poco::Timestamp::TimeVal>(date / 1000),
                  Poco::File(path).getLastModified().epochMicroseconds() / 1000000);
    }
}

TEST_F(CUtimensatAttributesModifierTest, MissingFileIsRefused) {
    std::unique_ptr<IFileAttributesModifier> modifier(IFileAttributesModifier::create());
    EXPECT_FALSE(modifier->setModificationDate(1000));
    EXPECT_FALSE(modifier->open(widePath(m_dir.file("missing"))));
    EXPECT_FALSE(modifier->open(L""));
    EXPECT_FALSE(modifier->setModificationDate(1000));

    const std::string path = m_dir.file("present");
    std::ofstream(path) << "data";
    ASSERT_TRUE(modifier->open(widePath(path)));
    modifier->close();
    EXPECT_FALSE(modifier->setModificationDate(1000));
}

}  // namespace
}  // namespace vx_transfers
