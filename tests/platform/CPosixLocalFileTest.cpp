#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CPlatformTestEnvironment.h"
#include "platform/porting/linux/CPosixLocalFile.h"

namespace vx_transfers {
namespace {

std::string readWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

class CPosixLocalFileTest : public ::testing::Test {
protected:
    platform_test::CTempDir m_dir;
};

TEST_F(CPosixLocalFileTest, ChannelsWriteDisjointRangesOfOneFileAtOnce) {
    const std::string path = m_dir.file("download.bin");
    const unsigned int kChannels = 6;
    const unsigned int kRange = 256 * 1024;
    const unsigned int kPiece = 4096;

    // Each channel writes its range in pieces; later ranges start first, so every channel
    // but the last writes beyond the end of the file as it is at that moment.
    std::vector<std::thread> channels;
    std::vector<int> results(kChannels, -1);
    for (unsigned int c = 0; c < kChannels; ++c) {
        const unsigned int channel = kChannels - 1 - c;
        channels.emplace_back([&, channel] {
            std::unique_ptr<ILocalFile> file(ILocalFile::create());
            if (!file || !file->open(path, ILocalFile::MODE_READ_WRITE) ||
                !file->seek(static_cast<unsigned long long>(channel) * kRange)) {
                results[channel] = 1;
                return;
            }
            const std::vector<char> piece(kPiece, static_cast<char>('a' + channel));
            for (unsigned int written = 0; written < kRange; written += kPiece) {
                if (!file->write(piece.data(), kPiece)) {
                    results[channel] = 2;
                    return;
                }
            }
            results[channel] = 0;
        });
    }
    for (std::thread& channel : channels) {
        channel.join();
    }
    for (unsigned int c = 0; c < kChannels; ++c) {
        EXPECT_EQ(0, results[c]) << "channel " << c;
    }

    const std::string content = readWhole(path);
    ASSERT_EQ(static_cast<std::size_t>(kChannels) * kRange, content.size());
    for (unsigned int c = 0; c < kChannels; ++c) {
        const std::string range = content.substr(static_cast<std::size_t>(c) * kRange, kRange);
        EXPECT_EQ(std::string(kRange, static_cast<char>('a' + c)), range) << "range " << c;
    }
}

TEST_F(CPosixLocalFileTest, ReadWriteModeKeepsTheContentOfAnExistingFile) {
    const std::string path = m_dir.file("existing.bin");
    std::ofstream(path, std::ios::binary) << "0123456789";

    std::unique_ptr<ILocalFile> file(ILocalFile::create());
    ASSERT_TRUE(file->open(path, ILocalFile::MODE_READ_WRITE));
    ASSERT_TRUE(file->seek(4));
    ASSERT_TRUE(file->write("ab", 2));
    char buffer[16] = {};
    unsigned int bytesRead = 0;
    ASSERT_TRUE(file->read(buffer, 3, &bytesRead));
    EXPECT_EQ(3u, bytesRead);
    EXPECT_EQ("678", std::string(buffer, bytesRead));
    file.reset();

    EXPECT_EQ("0123ab6789", readWhole(path));
}

TEST_F(CPosixLocalFileTest, ReadStopsAtTheEndOfTheFile) {
    const std::string path = m_dir.file("upload.bin");
    std::ofstream(path, std::ios::binary) << "0123456789";

    std::unique_ptr<ILocalFile> file(ILocalFile::create());
    ASSERT_TRUE(file->open(path, ILocalFile::MODE_READ));
    ASSERT_TRUE(file->seek(6));
    char buffer[16] = {};
    unsigned int bytesRead = 99;
    ASSERT_TRUE(file->read(buffer, 10, &bytesRead));
    EXPECT_EQ(4u, bytesRead);
    EXPECT_EQ("6789", std::string(buffer, bytesRead));
    ASSERT_TRUE(file->read(buffer, 10, &bytesRead));
    EXPECT_EQ(0u, bytesRead);
}

TEST_F(CPosixLocalFileTest, RefusesWhatCannotWork) {
    const std::string missing = m_dir.file("missing.bin");
    char buffer[4] = {};
    unsigned int bytesRead = 0;

    std::unique_ptr<ILocalFile> file(ILocalFile::create());
    EXPECT_FALSE(file->write("x", 1));
    EXPECT_FALSE(file->read(buffer, 4, &bytesRead));
    EXPECT_FALSE(file->seek(0));
    EXPECT_FALSE(file->open(missing, ILocalFile::MODE_READ));
    EXPECT_FALSE(file->open(missing, 7));
    EXPECT_FALSE(file->open(m_dir.file("no-such-dir/file.bin"), ILocalFile::MODE_READ_WRITE));

    ASSERT_TRUE(file->open(missing, ILocalFile::MODE_READ_WRITE));
    EXPECT_FALSE(file->open(missing, ILocalFile::MODE_READ_WRITE));

    std::unique_ptr<ILocalFile> readOnly(ILocalFile::create());
    ASSERT_TRUE(readOnly->open(missing, ILocalFile::MODE_READ));
    EXPECT_FALSE(readOnly->write("x", 1));
}

TEST_F(CPosixLocalFileTest, CloseEndsTheObjectsUseOfTheFile) {
    const std::string path = m_dir.file("closed.bin");
    std::unique_ptr<ILocalFile> file(ILocalFile::create());
    ASSERT_TRUE(file->open(path, ILocalFile::MODE_READ_WRITE));
    ASSERT_TRUE(file->write("abc", 3));
    file->close();
    EXPECT_FALSE(file->write("def", 3));
    ASSERT_TRUE(file->open(path, ILocalFile::MODE_READ));
    char buffer[4] = {};
    unsigned int bytesRead = 0;
    ASSERT_TRUE(file->read(buffer, 4, &bytesRead));
    EXPECT_EQ("abc", std::string(buffer, bytesRead));
}

// Opens <dir>/source.bin as a channel does; 0 when it reads "source" and refuses to write.
int readOnlySourceJob(const std::string& dir) {
    // Root reads and writes anything: drop to an unprivileged user so that permissions count.
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
        return 10;
    }
    std::unique_ptr<ILocalFile> file(ILocalFile::create());
    if (!file->open(dir + "/source.bin", ILocalFile::MODE_READ_WRITE)) {
        return 11;
    }
    char buffer[16] = {};
    unsigned int bytesRead = 0;
    if (!file->read(buffer, sizeof(buffer), &bytesRead)) {
        return 12;
    }
    if (std::string(buffer, bytesRead) != "source") {
        return 13;
    }
    return file->write("x", 1) ? 14 : 0;
}

const bool g_readOnlyJobRegistered = [] {
    platform_test::registerChildJob("read-only-source", readOnlySourceJob);
    return true;
}();

TEST_F(CPosixLocalFileTest, UploadSourceThatMayOnlyBeReadOpensForReading) {
    const std::string path = m_dir.file("source.bin");
    std::ofstream(path) << "source";
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    ASSERT_EQ(0, chmod(m_dir.path().c_str(), 0755));
    EXPECT_EQ(0, platform_test::runChildJob("read-only-source", m_dir.path()));
}

}  // namespace
}  // namespace vx_transfers
