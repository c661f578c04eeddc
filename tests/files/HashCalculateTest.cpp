#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/Path.h>
#include <Poco/TemporaryFile.h>
#include <gtest/gtest.h>

#include <string>

#include "files/hash_calculate.h"

namespace vx_transfers {
namespace {

constexpr const char* kEmptyDigest = "d41d8cd98f00b204e9800998ecf8427e";

class HashCalculateTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = Poco::TemporaryFile::tempName();
        Poco::File(m_dir).createDirectories();
    }

    void TearDown() override { Poco::File(m_dir).remove(true); }

    // Writes `size` bytes of a fixed pattern and returns the wide path.
    std::wstring writeFile(const std::string& name, std::size_t size) {
        const std::string path = Poco::Path(m_dir, name).toString();
        Poco::FileOutputStream stream(path);
        for (std::size_t i = 0; i < size; ++i) {
            stream.put(static_cast<char>((i * 7 + i / 251) & 0xFF));
        }
        stream.close();
        return std::wstring(path.begin(), path.end());
    }

    std::string m_dir;
};

TEST_F(HashCalculateTest, DigestsTheRequestedRangeOfTheFile) {
    const std::wstring path = writeFile("data.bin", 3000);
    struct Case {
        unsigned long long start;
        unsigned long long length;
        const char* digest;
    };
    // Reference digests of the pattern's byte ranges, made by an independent tool.
    const Case cases[] = {
        {0, 0, "fc1fee909557030a08cb680ecddda6df"},     // whole file
        {0, 1024, "6cd8e81aa97eb4792758fbcb7304bf4d"},  // exactly one block
        {0, 1025, "f85a696adad4e94fc175c4afe0186cb6"},  // one byte into the second block
        {1000, 1500, "4591dbb00403ca3e44c91faf48789621"},
        {2500, 0, "e1ce8803ee5d1679d46afc2d0d391301"},     // the rest behind start
        {2000, 5000, "5ade64e543d9673341638c36a453c96c"},  // cut at the end of the file
        {3000, 0, kEmptyDigest},                           // nothing behind start
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "start " << c.start << " length " << c.length);
        std::string out;
        EXPECT_TRUE(hash_calculate::Md5CalculateFile(out, path, c.start, c.length));
        EXPECT_EQ(c.digest, out);
    }
}

TEST_F(HashCalculateTest, EmptyFileGivesTheDigestOfEmptyInput) {
    std::string out = "previous";
    EXPECT_TRUE(hash_calculate::Md5CalculateFile(out, writeFile("empty.bin", 0), 0, 0));
    EXPECT_EQ(kEmptyDigest, out);
}

TEST_F(HashCalculateTest, ReadFailingPartWayStillDeliversTheDigestOfWhatWasRead) {
    // A start beyond the end: the first read fails, so nothing is hashed.
    std::string out;
    EXPECT_TRUE(hash_calculate::Md5CalculateFile(out, writeFile("short.bin", 100), 500, 10));
    EXPECT_EQ(kEmptyDigest, out);
}

TEST_F(HashCalculateTest, MissingFileFailsAndLeavesTheOutputAlone) {
    const std::string missing = Poco::Path(m_dir, "missing.bin").toString();
    std::string out = "unchanged";
    EXPECT_FALSE(
        hash_calculate::Md5CalculateFile(out, std::wstring(missing.begin(), missing.end()), 0, 0));
    EXPECT_EQ("unchanged", out);
}

TEST_F(HashCalculateTest, WidePathIsOpenedAsUtf8) {
    const std::string utf8Name = "\xc5\xbc\xc3\xb3\xc5\x82w.bin";  // "żółw"
    const std::string path = Poco::Path(m_dir, utf8Name).toString();
    { Poco::FileOutputStream stream(path); }
    const std::wstring widePath =
        std::wstring(m_dir.begin(), m_dir.end()) + L"/\u017c\u00f3\u0142w.bin";
    std::string out;
    EXPECT_TRUE(hash_calculate::Md5CalculateFile(out, widePath, 0, 0));
    EXPECT_EQ(kEmptyDigest, out);
}

}  // namespace
}  // namespace vx_transfers
