#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/TemporaryFile.h>
#include <gtest/gtest.h>

#include <string>

#include "managers/startup/getAppFilesPathHelper.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {
namespace {

class getAppFilesPathHelperTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_savedPath = CVxTransfersGlobalConfig::getInstance()->getAppFilesPath();
        m_root = Poco::TemporaryFile::tempName() + "-vxt-appfiles";
        Poco::File(m_root).createDirectories();
    }

    void TearDown() override {
        CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(m_savedPath);
        Poco::File(m_root).remove(true);
    }

    static void setAppFilesPath(const std::string& path) {
        std::wstring wide;
        string_convert::StringToWstring(path, wide);
        CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(wide);
    }

    std::wstring m_savedPath;
    std::string m_root;
};

TEST_F(getAppFilesPathHelperTest, MakesAMissingNestedFolderAndGivesItsPath) {
    for (const std::string leaf : {"a/b/c", "Dokumente-\xC3\xA4\xE2\x82\xAC"}) {
        SCOPED_TRACE(leaf);
        const std::string folder = m_root + "/" + leaf;
        setAppFilesPath(folder);

        std::string path;
        getAppFilesPathHelper(path);

        EXPECT_EQ(folder, path);
        EXPECT_TRUE(Poco::File(folder).isDirectory());
    }
}

TEST_F(getAppFilesPathHelperTest, GivesThePathEvenWhenTheFolderCannotBeMade) {
    const std::string blocker = m_root + "/plain-file";
    Poco::FileOutputStream(blocker) << "x";
    const std::string folder = blocker + "/sub";
    setAppFilesPath(folder);

    std::string path;
    getAppFilesPathHelper(path);

    EXPECT_EQ(folder, path);
    EXPECT_FALSE(Poco::File(folder).exists());
}

TEST_F(getAppFilesPathHelperTest, LeavesTheArgumentAloneWhenNoFolderIsSet) {
    setAppFilesPath("");
    std::string path = "unchanged";
    getAppFilesPathHelper(path);
    EXPECT_EQ("unchanged", path);
}

}  // namespace
}  // namespace vx_transfers
