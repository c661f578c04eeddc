#include <Poco/File.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>

#include "CPlatformTestEnvironment.h"
#include "platform/CFilePoco.h"

namespace vx_transfers {
namespace {

struct FileDeleter {
    void operator()(IFile* file) const { IFile::destroy(file); }
};
using FilePtr = std::unique_ptr<IFile, FileDeleter>;

std::string readWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

class CFilePocoTest : public ::testing::Test {
protected:
    platform_test::CTempDir m_dir;
};

TEST_F(CFilePocoTest, ShortReadAtTheEndIsASuccessAndReachesTheEnd) {
    const std::string path = m_dir.file("ten.bin");
    std::ofstream(path, std::ios::binary) << "0123456789";
    FilePtr file(IFile::create(path));
    ASSERT_TRUE(file->open(IFile::OPEN_READ));
    std::vector<char> buffer(10);
    unsigned int bytesRead = 0;
    ASSERT_EQ(0, file->read(buffer, 6, bytesRead));
    EXPECT_EQ(6u, bytesRead);
    EXPECT_FALSE(file->isEndOfFile());
    ASSERT_EQ(0, file->read(buffer, 10, bytesRead));
    EXPECT_EQ(4u, bytesRead);
    EXPECT_EQ("6789", std::string(buffer.data(), bytesRead));
    EXPECT_TRUE(file->isEndOfFile());
    EXPECT_EQ(10u, file->getSize());
}

TEST_F(CFilePocoTest, ReadAndWriteResultsFollowTheirOrderOfChecks) {
    const std::string path = m_dir.file("checks.bin");
    std::ofstream(path, std::ios::binary) << "abc";
    FilePtr file(IFile::create(path));
    std::vector<char> small(2);
    std::vector<char> empty;
    unsigned int bytesRead = 0;

    EXPECT_EQ(3, file->read(small, 3, bytesRead));  // too small comes before not open
    EXPECT_EQ(1, file->read(small, 0, bytesRead));  // nothing to do comes before not open
    EXPECT_EQ(4, file->read(small, 2, bytesRead));
    EXPECT_EQ(4, file->write(small));
    EXPECT_EQ(4, file->write(empty));  // not open comes before nothing to do
    EXPECT_FALSE(file->isEndOfFile());

    ASSERT_TRUE(file->open(IFile::OPEN_WRITE));
    EXPECT_EQ(1, file->write(empty));
}

TEST_F(CFilePocoTest, WriteReplacesTheContentAndAnObjectOpensOnce) {
    const std::string path = m_dir.file("written.bin");
    std::ofstream(path, std::ios::binary) << "old content that is longer";
    FilePtr file(IFile::create(path));
    ASSERT_TRUE(file->open(IFile::OPEN_WRITE));
    EXPECT_FALSE(file->open(IFile::OPEN_WRITE));
    const std::vector<char> data = {'n', 'e', 'w'};
    EXPECT_EQ(0, file->write(data));
    EXPECT_EQ(0, file->write(data));
    file->close();
    EXPECT_EQ("newnew", readWhole(path));
    EXPECT_FALSE(file->open(IFile::OPEN_READ));
}

TEST_F(CFilePocoTest, MissingFilesAreNeitherReadNorCreatedByReading) {
    const std::string path = m_dir.file("missing.bin");
    FilePtr file(IFile::create(path));
    EXPECT_FALSE(file->open(IFile::OPEN_READ));
    EXPECT_FALSE(Poco::File(path).exists());
    EXPECT_EQ(0u, file->getSize());
    EXPECT_FALSE(file->remove());

    FilePtr inMissingDir(IFile::create(m_dir.file("no-dir/file.bin")));
    EXPECT_FALSE(inMissingDir->open(IFile::OPEN_WRITE));
}

TEST_F(CFilePocoTest, RemoveDeletesTheFile) {
    const std::string path = m_dir.file("doomed.bin");
    std::ofstream(path) << "x";
    FilePtr file(IFile::create(path));
    EXPECT_TRUE(file->remove());
    EXPECT_FALSE(Poco::File(path).exists());
}

// Reads <dir>/read-only.bin through IFile; 0 when it reads "locked".
int readReadOnlyFile(const std::string& dir) {
    // Root reads anything: drop to an unprivileged user so that permissions count.
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
        return 10;
    }
    FilePtr file(IFile::create(dir + "/read-only.bin"));
    if (!file->open(IFile::OPEN_READ)) {
        return 11;
    }
    std::vector<char> buffer(6);
    unsigned int bytesRead = 0;
    if (file->read(buffer, 6, bytesRead) != 0) {
        return 12;
    }
    return std::string(buffer.data(), bytesRead) == "locked" ? 0 : 13;
}

const bool g_jobRegistered = [] {
    platform_test::registerChildJob("read-only-file", readReadOnlyFile);
    return true;
}();

TEST_F(CFilePocoTest, ReadOnlyFilesCanBeRead) {
    const std::string path = m_dir.file("read-only.bin");
    std::ofstream(path) << "locked";
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    ASSERT_EQ(0, chmod(m_dir.path().c_str(), 0755));
    EXPECT_EQ(0, platform_test::runChildJob("read-only-file", m_dir.path()));
}

}  // namespace
}  // namespace vx_transfers
