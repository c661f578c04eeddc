#include <Poco/File.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "CDatabaseTestAccess.h"
#include "CDbTestFolder.h"
#include "db/CDatabase.h"
#include "db/CDatabaseDumpAnalyzer.h"
#include "support/CLogFileTail.h"

extern char** environ;

namespace vx_transfers {
namespace {

// A child process (this binary, running only CDatabaseCrashWriterTest) writes rounds of rows
// through the six tables and reports each statement on a pipe as "<round> <step>". The parent
// kills it with SIGKILL, reopens the file, validates it as a manager's start-up does, and
// checks that every finished round is there as written. Free-running kills land wherever the
// child happens to be, inside a statement included; in lockstep the child waits for a go byte
// after each statement, so that a kill lands exactly between two chosen statements.
const char* const kProgressFdVariable = "VXT_DB_CRASH_PROGRESS_FD";
const char* const kGoFdVariable = "VXT_DB_CRASH_GO_FD";
const char* const kFirstRoundVariable = "VXT_DB_CRASH_FIRST_ROUND";
const char* const kRoundDone = "round-done";

const unsigned long long kOffsetStep = 0x100000000ULL;  // offsets above 2^32

std::string uploadUid(int round) { return "u-" + std::to_string(round); }
std::string downloadUid(int round) { return "d-" + std::to_string(round); }

class CStepReporter {
public:
    CStepReporter(int progressFd, int goFd) : m_progressFd(progressFd), m_goFd(goFd) {}

    void done(int round, const char* step) {
        const std::string line = std::to_string(round) + " " + step + "\n";
        if (write(m_progressFd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            _exit(3);
        }
        char go = 0;
        if (m_goFd >= 0 && read(m_goFd, &go, 1) != 1) {
            _exit(4);
        }
    }

private:
    int m_progressFd;
    int m_goFd;
};

// Even rounds stay; odd rounds remove what they wrote, group first, so that a kill in between
// leaves the zombies that validation must clear.
void writeRound(CDatabase& db, int round, CStepReporter& reporter) {
    const std::string uid = uploadUid(round);
    const unsigned long long offset = round * kOffsetStep + 7;
    CGroupsDbInfo::GroupInfo group;
    group.groupId = round;
    db.getGroupsInfo()->insert(group);
    reporter.done(round, "upload-group");
    CUploadManager::FileDesc desc;
    desc.fileUid = uid;
    desc.fileUrl = L"/home/\u00fc/" + std::to_wstring(round);
    db.getFilesInfo()->insert(desc, round);
    reporter.done(round, "upload-file");
    CChannelsDbInfo::ChannelInfo channel;
    channel.fileUid = uid;
    channel.offset = offset;
    channel.httpHeaders = {{"a", "1"}, {"b", "2"}};
    db.getChannelsInfo()->insert(channel);
    reporter.done(round, "upload-channel");
    db.getFilesInfo()->setUploadId(uid, "up-" + uid);
    reporter.done(round, "upload-id");
    db.getChannelsInfo()->modifyState(uid, offset, 2);
    reporter.done(round, "upload-state");
    db.getGroupsInfo()->setPaused(round, true);
    db.getGroupsInfo()->setRetryCount(round, round);
    db.getGroupsInfo()->setMarked(round, true);
    reporter.done(round, "upload-group-fields");

    const std::string did = downloadUid(round);
    CDownloadGroupsDbInfo::GroupInfo downloadGroup;
    downloadGroup.groupId = round;
    db.getDownloadGroupsInfo()->insert(downloadGroup);
    reporter.done(round, "download-group");
    CDownloadManager::FileDownloadDetails details;
    details.fileId = did;
    details.fileSize = (1ULL << 40) + round;
    db.getDownloadFilesInfo()->insert(details, round, L"t.dl");
    reporter.done(round, "download-file");
    CDownloadChannelsDbInfo::ChannelInfo downloadChannel;
    downloadChannel.fileUid = did;
    downloadChannel.offset = offset;
    db.getDownloadChannelsInfo()->insert(downloadChannel);
    reporter.done(round, "download-channel");
    db.getDownloadChannelsInfo()->modifyState(did, offset, 5);
    db.getDownloadGroupsInfo()->setRetryCount(round, round);
    reporter.done(round, "download-fields");

    if (round % 2 == 1) {
        db.getGroupsInfo()->remove(round);
        reporter.done(round, "upload-group-removed");
        db.getFilesInfo()->remove(uid);
        reporter.done(round, "upload-file-removed");
        db.getChannelsInfo()->remove(uid);
        reporter.done(round, "upload-channels-removed");
        db.getDownloadGroupsInfo()->remove(round);
        reporter.done(round, "download-group-removed");
        db.getDownloadFilesInfo()->remove(std::set<std::string>{did});
        reporter.done(round, "download-files-removed");
        db.getDownloadChannelsInfo()->remove(std::set<std::string>{did});
    }
    reporter.done(round, kRoundDone);
}

TEST(CDatabaseCrashWriterTest, DISABLED_WritesRoundsUntilKilled) {
    const char* progressFd = std::getenv(kProgressFdVariable);
    const char* goFd = std::getenv(kGoFdVariable);
    const char* first = std::getenv(kFirstRoundVariable);
    if (progressFd == nullptr || first == nullptr) {
        GTEST_SKIP() << "runs only as the child of CDatabaseCrashTest";
    }
    CStepReporter reporter(std::atoi(progressFd), goFd == nullptr ? -1 : std::atoi(goFd));
    CDatabase* db = CDatabase::getInstance();
    ASSERT_TRUE(CDatabaseTestAccess::hasSession());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (int round = std::atoi(first); std::chrono::steady_clock::now() < deadline; ++round) {
        writeRound(*db, round, reporter);
    }
}

// Where the parent kills its child: free-running, at the first step it hears of `round`; in
// lockstep, right after `step` of `round` (the child then waits for a go that never comes).
struct KillPoint {
    bool lockstep;
    int round;
    std::string step;
};

class CDatabaseCrashTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_folder = CDbTestFolder::path() + "/crash";
        Poco::File(m_folder).createDirectories();
    }

    void TearDown() override {
        CDatabaseTestAccess::close();
        CDbTestFolder::restoreAppFilesPath();
        Poco::File(m_folder).remove(true);
    }

    // Starts a child on round `first`, kills it at `where`, and returns the last round that
    // it finished.
    int runChildAndKill(int first, const KillPoint& where) {
        int progress[2];
        int go[2];
        EXPECT_EQ(pipe(progress), 0);
        EXPECT_EQ(pipe(go), 0);
        std::vector<std::string> env;
        for (char** e = environ; *e != nullptr; ++e) {
            const std::string entry = *e;
            if (entry.rfind(CDbTestFolder::kChildFolderVariable, 0) != 0) {
                env.push_back(entry);
            }
        }
        env.push_back(std::string(CDbTestFolder::kChildFolderVariable) + "=" + m_folder);
        env.push_back(std::string(kProgressFdVariable) + "=" + std::to_string(progress[1]));
        env.push_back(std::string(kFirstRoundVariable) + "=" + std::to_string(first));
        if (where.lockstep) {
            env.push_back(std::string(kGoFdVariable) + "=" + std::to_string(go[0]));
        }
        std::vector<char*> envp;
        for (std::string& e : env) {
            envp.push_back(&e[0]);
        }
        envp.push_back(nullptr);
        std::string self = "/proc/self/exe";
        std::string filter =
            "--gtest_filter=CDatabaseCrashWriterTest.DISABLED_WritesRoundsUntilKilled";
        std::string disabled = "--gtest_also_run_disabled_tests";
        char* argv[] = {&self[0], &filter[0], &disabled[0], nullptr};
        const std::string output = m_folder + "/child.out";

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addclose(&actions, progress[0]);
        posix_spawn_file_actions_addclose(&actions, go[1]);
        posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                         0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        pid_t child = 0;
        const int spawned = posix_spawn(&child, self.c_str(), &actions, nullptr, argv, envp.data());
        posix_spawn_file_actions_destroy(&actions);
        close(progress[1]);
        close(go[0]);
        EXPECT_EQ(spawned, 0) << std::strerror(spawned);

        const int lastDone = followUntil(progress[0], go[1], where);
        if (spawned == 0) {
            kill(child, SIGKILL);
            int status = 0;
            EXPECT_EQ(waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
                << "the child ended by itself; see " << output;
        }
        close(progress[0]);
        close(go[1]);
        return lastDone;
    }

    // Reads the child's steps (letting it go on in lockstep) until the kill point, the end of
    // the pipe or a 60 s bound; returns the last round finished.
    static int followUntil(int progressFd, int goFd, const KillPoint& where) {
        int lastDone = -1;
        std::string pending;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd p = {progressFd, POLLIN, 0};
            if (poll(&p, 1, 200) <= 0) {
                continue;
            }
            char buffer[512];
            const ssize_t n = read(progressFd, buffer, sizeof(buffer));
            if (n <= 0) {
                ADD_FAILURE() << "the child stopped reporting";
                return lastDone;
            }
            pending.append(buffer, static_cast<size_t>(n));
            for (size_t end = pending.find('\n'); end != std::string::npos;
                 end = pending.find('\n')) {
                const std::string line = pending.substr(0, end);
                pending.erase(0, end + 1);
                const size_t blank = line.find(' ');
                const int round = std::stoi(line.substr(0, blank));
                const std::string step = line.substr(blank + 1);
                if (step == kRoundDone) {
                    lastDone = round;
                }
                const bool here = where.lockstep ? round == where.round && step == where.step
                                                 : round >= where.round;
                if (here) {
                    return lastDone;
                }
                if (where.lockstep && write(goFd, "g", 1) != 1) {
                    ADD_FAILURE() << "cannot let the child go on";
                    return lastDone;
                }
            }
        }
        ADD_FAILURE() << "the child never reached the kill point";
        return lastDone;
    }

    // Reopens the file the child left, validates it as a manager's start-up does, and checks
    // every round that a child reported, in all the (first, last) spans given.
    // The warnings that reopening and validation logged go to `warnings` when given.
    void expectRoundsSurvived(const std::vector<std::pair<int, int>>& reported,
                              std::vector<std::string>* warnings = nullptr) {
        CDbTestFolder::useAppFilesPath(m_folder);
        CDatabaseTestAccess::close();
        CLogFileTail log(CDbTestFolder::logFilePath());
        ASSERT_NE(CDatabase::getInstance(), nullptr);
        ASSERT_TRUE(CDatabaseTestAccess::hasSession());
        EXPECT_TRUE(log.texts("Error").empty());
        for (const std::string& warning : log.texts("Warning")) {
            EXPECT_EQ(warning.find("not a sound database"), std::string::npos) << warning;
        }
        EXPECT_EQ(CDatabaseTestAccess::query("PRAGMA integrity_check"),
                  std::vector<std::string>{"ok"});

        CDatabaseDumpAnalyzer analyzer;
        analyzer.loadUploadData();
        analyzer.loadDownloadData();
        expectNoZombies();

        for (const auto& span : reported) {
            for (int round = span.first; round <= span.second; ++round) {
                SCOPED_TRACE("round " + std::to_string(round));
                expectRound(analyzer, round);
            }
        }
        analyzer.unloadUploadData();
        analyzer.unloadDownloadData();
        CDatabaseTestAccess::close();
        CDbTestFolder::restoreAppFilesPath();
        if (warnings != nullptr) {
            *warnings = log.texts("Warning");
        }
    }

    static void expectNoZombies() {
        EXPECT_EQ(CDatabaseTestAccess::query(
                      "SELECT FileUid FROM FilesDictionary WHERE ParentGroupId NOT IN "
                      "(SELECT GroupId FROM GroupsDictionary) UNION "
                      "SELECT FileUid FROM ChannelsDictionary WHERE FileUid NOT IN "
                      "(SELECT FileUid FROM FilesDictionary) UNION "
                      "SELECT FileUid FROM DownloadFilesDictionary WHERE ParentGroupId NOT IN "
                      "(SELECT GroupId FROM DownloadGroupsDictionary) UNION "
                      "SELECT FileUid FROM DownloadChannelsDictionary WHERE FileUid NOT IN "
                      "(SELECT FileUid FROM DownloadFilesDictionary)"),
                  std::vector<std::string>());
    }

    static void expectRound(CDatabaseDumpAnalyzer& analyzer, int round) {
        const bool kept = round % 2 == 0;
        const auto& groups = analyzer.getUploadGroups();
        int found = 0;
        for (const auto& group : groups) {
            if (group.groupId == round) {
                ++found;
                EXPECT_TRUE(group.paused);
                EXPECT_TRUE(group.marked);
                EXPECT_EQ(group.retryCount, static_cast<unsigned int>(round));
            }
        }
        EXPECT_EQ(found, kept ? 1 : 0);
        std::vector<CFilesDbInfo::FileInfo> files;
        analyzer.getFilesForUploadGroup(round, files);
        ASSERT_EQ(files.size(), kept ? 1u : 0u);
        std::vector<CChannelsDbInfo::ChannelInfo> channels;
        analyzer.getChannelsForUploadFile(uploadUid(round), channels);
        ASSERT_EQ(channels.size(), kept ? 1u : 0u);
        std::vector<CDownloadFilesDbInfo::FileInfo> downloads;
        analyzer.getFilesForDownloadGroup(round, downloads);
        ASSERT_EQ(downloads.size(), kept ? 1u : 0u);
        std::vector<CDownloadChannelsDbInfo::ChannelInfo> downloadChannels;
        analyzer.getChannelsForDownloadFile(downloadUid(round), downloadChannels);
        ASSERT_EQ(downloadChannels.size(), kept ? 1u : 0u);
        if (!kept) {
            return;
        }
        EXPECT_EQ(files[0].uploadId, "up-" + uploadUid(round));
        EXPECT_EQ(files[0].fileUrl, L"/home/\u00fc/" + std::to_wstring(round));
        EXPECT_EQ(channels[0].state, 2u);
        EXPECT_EQ(channels[0].offset, round * kOffsetStep + 7);
        EXPECT_EQ(channels[0].httpHeaders.size(), 2u);
        EXPECT_EQ(downloads[0].fileSize, (1ULL << 40) + round);
        EXPECT_EQ(downloadChannels[0].state, 5u);
    }

    std::string m_folder;
};

TEST_F(CDatabaseCrashTest, FinishedRoundsSurviveKillsAtRandomMoments) {
    std::random_device seedSource;
    const unsigned int seed = seedSource();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<std::pair<int, int>> finished;
    int first = 0;
    for (int kill = 0; kill < 3; ++kill) {
        SCOPED_TRACE("kill " + std::to_string(kill));
        const KillPoint where = {false, first + std::uniform_int_distribution<int>(5, 60)(random),
                                 ""};
        const int last = runChildAndKill(first, where);
        ASSERT_GE(last, where.round - 1);

        finished.emplace_back(first, last);
        expectRoundsSurvived(finished);
        // The round after the last finished one may be partly written: the next child starts
        // beyond it, on the file as this kill left it.
        first = last + 2;
    }
}

TEST_F(CDatabaseCrashTest, KillBetweenGroupAndFileRemovalLeavesZombiesThatStartUpClears) {
    struct Case {
        const char* step;
        std::string warning;  // what validation says about the round killed in
    };
    const std::vector<Case> cases = {
        {"upload-group-removed",
         "Found zombie file in DB. File id: u-3. It belong to group 3 which does not exist"},
        {"upload-file-removed", "Found zombie channel in DB. File id: u-3"},
        {"download-group-removed",
         "Found zombie file in DB. File id: d-3. It belong to group 3 which does not exist"},
        {"download-files-removed", "Found zombie channel in DB. File id: d-3"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.step);
        CDatabaseTestAccess::close();
        Poco::File(m_folder).remove(true);
        Poco::File(m_folder).createDirectories();

        const int last = runChildAndKill(0, {true, 3, c.step});
        ASSERT_EQ(last, 2);

        std::vector<std::string> warnings;
        expectRoundsSurvived({{0, 2}}, &warnings);
        EXPECT_NE(std::find(warnings.begin(), warnings.end(), c.warning), warnings.end())
            << c.warning;
    }
}

}  // namespace
}  // namespace vx_transfers
