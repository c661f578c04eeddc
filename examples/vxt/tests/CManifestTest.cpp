// The manifest that a later download reads: what is written comes back, and the application
// folder's manifests are found for --resume.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "CManifest.h"
#include "CMd5Calculator.h"

namespace vxt {
namespace {
namespace fs = std::filesystem;

class CManifestTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = fs::temp_directory_path().string() + "/vxt-manifest-XXXXXX";
        ASSERT_NE(::mkdtemp(&pattern[0]), nullptr);
        m_dir = pattern;
    }
    void TearDown() override { fs::remove_all(m_dir); }

    static Manifest sample(const std::string& bucketId, std::uint64_t created) {
        Manifest m;
        m.endpoint = "http://127.0.0.1:9/api";
        m.bucketId = bucketId;
        m.bucketToken = "token-" + bucketId;
        m.tokenExpires = 1700000000000ULL;
        m.createdMs = created;
        ManifestFile f;
        f.fileId = "f1";
        f.path = "dir/ä b.txt";
        f.localPath = "/tmp/dir/ä b.txt";
        f.size = 5000000000ULL;  // above 32 bits
        f.modifiedMs = 1600000000123ULL;
        f.md5 = "0123456789abcdef0123456789abcdef";
        f.status = "completed";
        m.files.push_back(f);
        f.fileId = "f2";
        f.path = "e.txt";
        f.size = 0;
        f.md5.clear();
        f.status = "pending";
        m.files.push_back(f);
        return m;
    }

    std::string m_dir;
};

TEST_F(CManifestTest, WhatIsWrittenReadsBackFieldForField) {
    const Manifest written = sample("b1", 42);
    std::string error;
    const std::string path = CManifest::pathFor(m_dir, "b1");
    ASSERT_TRUE(CManifest::write(written, path, error)) << error;
    EXPECT_FALSE(fs::exists(path + ".tmp"));
    Manifest read;
    ASSERT_TRUE(CManifest::read(path, read, error)) << error;
    EXPECT_EQ(read.endpoint, written.endpoint);
    EXPECT_EQ(read.bucketId, "b1");
    EXPECT_EQ(read.bucketToken, "token-b1");
    EXPECT_EQ(read.tokenExpires, written.tokenExpires);
    EXPECT_EQ(read.createdMs, 42u);
    ASSERT_EQ(read.files.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(read.files[i].fileId, written.files[i].fileId);
        EXPECT_EQ(read.files[i].path, written.files[i].path);
        EXPECT_EQ(read.files[i].localPath, written.files[i].localPath);
        EXPECT_EQ(read.files[i].size, written.files[i].size);
        EXPECT_EQ(read.files[i].modifiedMs, written.files[i].modifiedMs);
        EXPECT_EQ(read.files[i].md5, written.files[i].md5);
        EXPECT_EQ(read.files[i].status, written.files[i].status);
    }
    EXPECT_EQ(read.totalBytes(), 5000000000ULL);
    ASSERT_NE(read.find("f2"), nullptr);
    EXPECT_EQ(read.find("f2")->path, "e.txt");
    EXPECT_EQ(read.find("nope"), nullptr);
}

TEST_F(CManifestTest, LoadAllFindsTheFolderManifestsOldestFirstAndSkipsBrokenOnes) {
    std::string error;
    ASSERT_TRUE(CManifest::write(sample("late", 200), CManifest::pathFor(m_dir, "late"), error));
    ASSERT_TRUE(CManifest::write(sample("early", 100), CManifest::pathFor(m_dir, "early"), error));
    std::ofstream(m_dir + "/manifests/broken.json") << "{ not json";
    std::ofstream(m_dir + "/manifests/nobucket.json") << "{\"files\": []}";
    auto all = CManifest::loadAll(m_dir);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].bucketId, "early");
    EXPECT_EQ(all[1].bucketId, "late");
    EXPECT_TRUE(CManifest::loadAll(m_dir + "/missing").empty());
}

TEST_F(CManifestTest, Md5OfFilesMatchesKnownDigestsAndIsEmptyForMissingOnes) {
    std::ofstream(m_dir + "/abc") << "abc";
    std::ofstream(m_dir + "/empty");
    CMd5Calculator calculator({m_dir + "/abc", m_dir + "/empty", m_dir + "/missing"});
    const auto& digests = calculator.results();
    ASSERT_EQ(digests.size(), 3u);
    EXPECT_EQ(digests[0], "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digests[1], "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(digests[2], "");
}

}  // namespace
}  // namespace vxt
