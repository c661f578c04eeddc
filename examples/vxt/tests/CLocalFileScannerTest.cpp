// Which files `vxt upload` picks up from its arguments, and under which names.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "CLocalFileScanner.h"

namespace vxt {
namespace {
namespace fs = std::filesystem;

class CLocalFileScannerTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = fs::temp_directory_path().string() + "/vxt-scan-XXXXXX";
        ASSERT_NE(::mkdtemp(&pattern[0]), nullptr);
        m_dir = pattern;
    }
    void TearDown() override { fs::remove_all(m_dir); }

    void write(const std::string& relative, std::size_t size) {
        fs::path path = fs::path(m_dir) / relative;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << std::string(size, 'x');
    }

    std::string m_dir;
};

TEST_F(CLocalFileScannerTest, FolderFilesKeepTheFolderNameAndComeSortedWithSizes) {
    write("album/b.txt", 2);
    write("album/a.txt", 1);
    write("album/deep/c.bin", 3);
    write("single.dat", 5);
    fs::create_directories(fs::path(m_dir) / "album/empty");
    std::vector<LocalFile> files;
    std::string error;
    ASSERT_TRUE(CLocalFileScanner::scan({m_dir + "/album/", m_dir + "/single.dat"}, files, error))
        << error;
    const std::vector<std::pair<std::string, std::uint64_t>> expected = {
        {"album/a.txt", 1}, {"album/b.txt", 2}, {"album/deep/c.bin", 3}, {"single.dat", 5}};
    ASSERT_EQ(files.size(), expected.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(expected[i].first);
        EXPECT_EQ(files[i].relativePath, expected[i].first);
        EXPECT_EQ(files[i].size, expected[i].second);
        EXPECT_EQ(files[i].absolutePath, (fs::path(m_dir) / expected[i].first).string());
        EXPECT_GT(files[i].modifiedMs, 0u);
    }
}

TEST_F(CLocalFileScannerTest, MissingPathsAndClashingNamesAreRefused) {
    write("one/x.txt", 1);
    write("two/x.txt", 1);
    struct Row {
        std::vector<std::string> arguments;
        const char* reasonPart;
    };
    const Row rows[] = {
        {{m_dir + "/nothing-here"}, "no such file"},
        {{m_dir + "/one/x.txt", m_dir + "/two/x.txt"}, "x.txt"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arguments.front());
        std::vector<LocalFile> files;
        std::string error;
        EXPECT_FALSE(CLocalFileScanner::scan(row.arguments, files, error));
        EXPECT_NE(error.find(row.reasonPart), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace vxt
