#include <Poco/File.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
// libstdc++'s regex trips a false -Wmaybe-uninitialized of g++ 12 when sanitizers are on.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <regex>
#pragma GCC diagnostic pop
#include <string>
#include <thread>
#include <vector>

#include "CPlatformTestEnvironment.h"
#include "platform/CBucketSpecificLogger.h"
#include "platform/CLogger.h"
#include "platform/Log.h"

namespace vx_transfers {
namespace {

using platform_test::CTempDir;

const std::regex kLineFormat(
    R"(^\[(\d{1,2}-\d{1,2}-\d{2}) \d{2}:\d{2}:\d{2}:\d{3}\] \[\d+ [^\]]*\] \[(Information|Warning|Error)\] (.*)$)");

const unsigned long long kRotationSize = 2 * 1024 * 1024;
const int kLinesForRotation = 7500;  // 2000-byte texts: seven rotations' worth

// "%n-%e-%y" of the local date: month and day without leading zeros, two-digit year.
std::string localDate() {
    const std::time_t now = std::time(nullptr);
    std::tm local;
    localtime_r(&now, &local);
    return std::to_string(local.tm_mon + 1) + "-" + std::to_string(local.tm_mday) + "-" +
           (local.tm_year % 100 < 10 ? "0" : "") + std::to_string(local.tm_year % 100);
}

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        lines.push_back(line);
    }
    return lines;
}

// The number that a rotation line carries at its start: "rotation <n> xxxx...".
int lineNumber(const std::string& line) {
    const std::string::size_type at = line.find("rotation ");
    return at == std::string::npos ? -1 : std::stoi(line.substr(at + 9));
}

int writeRotationLines(const std::string& dir) {
    platform_test::setAppFilesDir(dir);
    const std::string filler(2000, 'x');
    for (int i = 0; i < kLinesForRotation; ++i) {
        VXT_LOG_INFO("rotation " << i << " " << filler);
    }
    return 0;
}

// The folder is first a plain file, so the log cannot be opened; then it becomes a folder.
int logThroughUnusableFolder(const std::string& dir) {
    platform_test::setAppFilesDir(dir);
    for (int i = 0; i < 20; ++i) {
        VXT_LOG_ERROR("lost line " << i);
    }
    Poco::File(dir).remove();
    Poco::File(dir).createDirectories();
    VXT_LOG_INFO("line after the folder appeared");
    return 0;
}

int logWithoutFolder(const std::string& dir) {
    if (chdir(dir.c_str()) != 0) {
        return 2;
    }
    VXT_LOG_INFO("line without a folder");
    return 0;
}

const bool g_jobsRegistered = [] {
    platform_test::registerChildJob("rotation", writeRotationLines);
    platform_test::registerChildJob("unusable-folder", logThroughUnusableFolder);
    platform_test::registerChildJob("no-folder", logWithoutFolder);
    return true;
}();

class CLoggerTest : public ::testing::Test {
protected:
    platform_test::CLogMark m_mark;
};

TEST_F(CLoggerTest, EachLineCarriesDateTimeThreadAndItsOwnLevel) {
    const std::string dateBefore = localDate();
    VXT_LOG_WARNING("level check one");
    VXT_LOG_INFO("level check two");
    VXT_LOG_ERROR("level check three");
    VXT_LOG_INFO("level check four");
    const std::string dateAfter = localDate();

    const std::vector<std::string> lines = m_mark.linesContaining("level check ");
    ASSERT_EQ(4u, lines.size());
    const char* const levels[] = {"Warning", "Information", "Error", "Information"};
    const char* const texts[] = {"level check one", "level check two", "level check three",
                                 "level check four"};
    for (std::size_t i = 0; i < lines.size(); ++i) {
        SCOPED_TRACE(lines[i]);
        std::smatch match;
        ASSERT_TRUE(std::regex_match(lines[i], match, kLineFormat));
        EXPECT_TRUE(match[1] == dateBefore || match[1] == dateAfter);
        EXPECT_EQ(levels[i], match[2]);
        EXPECT_EQ(texts[i], match[3]);
    }
}

TEST_F(CLoggerTest, BucketLinesBeginWithThePrefix) {
    CBucketSpecificLogger channelLogger("b1", 7, "f9", 2);
    CBucketSpecificLogger groupLogger("b2", 3, "", -1);
    VXT_BLOG_INFO(channelLogger, "prefixed channel line");
    VXT_BLOG_ERROR(groupLogger, "prefixed group line");

    const std::vector<std::string> channelLines = m_mark.linesContaining("prefixed channel line");
    ASSERT_EQ(1u, channelLines.size());
    std::smatch match;
    ASSERT_TRUE(std::regex_match(channelLines[0], match, kLineFormat));
    EXPECT_EQ("Information", match[2]);
    EXPECT_EQ("[b1[7]: f9: 2] prefixed channel line", match[3]);

    const std::vector<std::string> groupLines = m_mark.linesContaining("prefixed group line");
    ASSERT_EQ(1u, groupLines.size());
    ASSERT_TRUE(std::regex_match(groupLines[0], match, kLineFormat));
    EXPECT_EQ("Error", match[2]);
    EXPECT_EQ("[b2[3]] prefixed group line", match[3]);
}

TEST_F(CLoggerTest, LineFromANamedThreadCarriesItsName) {
    class CLogOnce : public Poco::Runnable {
    public:
        void run() override { VXT_LOG_INFO("line from a named thread"); }
    } body;
    Poco::Thread thread("vxt-log-test");
    thread.start(body);
    thread.join();

    const std::vector<std::string> lines = m_mark.linesContaining("line from a named thread");
    ASSERT_EQ(1u, lines.size());
    EXPECT_TRUE(std::regex_match(lines[0], kLineFormat)) << lines[0];
    EXPECT_TRUE(std::regex_search(lines[0], std::regex(R"(\] \[\d+ vxt-log-test\] \[)")))
        << lines[0];
}

TEST_F(CLoggerTest, LinesFromManyThreadsStayWhole) {
    const int kThreads = 4;
    const int kLinesEach = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kLinesEach; ++i) {
                VXT_LOG_INFO("concurrent line " << t << " " << i << " end");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<std::string> lines = m_mark.linesContaining("concurrent line ");
    ASSERT_EQ(static_cast<std::size_t>(kThreads * kLinesEach), lines.size());
    for (const std::string& line : lines) {
        ASSERT_TRUE(std::regex_match(
            line, std::regex(R"(^\[.*\] \[Information\] concurrent line \d \d+ end$)")))
            << line;
    }
}

TEST_F(CLoggerTest, RotatesAtTwoMegabytesAndKeepsFiveArchives) {
    CTempDir dir;
    ASSERT_EQ(0, platform_test::runChildJob("rotation", dir.path()));

    const std::string log = dir.file("vx_transfers.log");
    for (int archive = 0; archive < 5; ++archive) {
        SCOPED_TRACE(archive);
        const Poco::File file(log + "." + std::to_string(archive));
        ASSERT_TRUE(file.exists());
        EXPECT_GE(file.getSize(), kRotationSize);
        EXPECT_LT(file.getSize(), kRotationSize + 4096);
    }
    EXPECT_FALSE(Poco::File(log + ".5").exists());
    EXPECT_FALSE(Poco::File(log + ".6").exists());

    // Oldest to newest, the kept files hold one unbroken run of lines ending with the last.
    std::vector<std::string> lines;
    for (int archive = 4; archive >= 0; --archive) {
        const std::vector<std::string> part = readLines(log + "." + std::to_string(archive));
        lines.insert(lines.end(), part.begin(), part.end());
    }
    const std::vector<std::string> current = readLines(log);
    lines.insert(lines.end(), current.begin(), current.end());
    ASSERT_FALSE(lines.empty());
    EXPECT_GT(lineNumber(lines.front()), 0);
    EXPECT_EQ(kLinesForRotation - 1, lineNumber(lines.back()));
    for (std::size_t i = 1; i < lines.size(); ++i) {
        ASSERT_EQ(lineNumber(lines[i - 1]) + 1, lineNumber(lines[i])) << "at line " << i;
    }
    EXPECT_TRUE(std::regex_match(lines.back(), kLineFormat));
}

TEST_F(CLoggerTest, LogComesBackOnceAnUnusableFolderBecomesUsable) {
    CTempDir dir;
    const std::string folder = dir.file("app");
    std::ofstream(folder) << "a file where the folder should be";
    ASSERT_EQ(0, platform_test::runChildJob("unusable-folder", folder));

    const std::vector<std::string> lines = readLines(folder + "/vx_transfers.log");
    ASSERT_EQ(1u, lines.size());
    EXPECT_TRUE(std::regex_match(lines[0], kLineFormat));
    EXPECT_NE(std::string::npos, lines[0].find("line after the folder appeared"));
}

TEST_F(CLoggerTest, WithoutAFolderTheLogGoesToTheWorkingDirectory) {
    CTempDir dir;
    ASSERT_EQ(0, platform_test::runChildJob("no-folder", dir.path()));
    const std::vector<std::string> lines = readLines(dir.file("vx_transfers.log"));
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("line without a folder"));
}

}  // namespace
}  // namespace vx_transfers
