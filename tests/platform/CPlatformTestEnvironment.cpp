#include "CPlatformTestEnvironment.h"

#include <Poco/File.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

extern char** environ;

namespace vx_transfers {
namespace platform_test {

namespace {

const char* const kChildJobVariable = "VXT_PLATFORM_TEST_CHILD_JOB";
const char* const kChildDirVariable = "VXT_PLATFORM_TEST_CHILD_DIR";
// Any test that always exists: gtest sets environments up only when some test is selected.
const char* const kChildFilter = "--gtest_filter=CBucketSpecificLoggerTest.*";

// The folder outlives every repetition of the tests; the logger keeps writing into it.
struct CAppFilesDir {
    ~CAppFilesDir() {
        try {
            if (!path.empty()) {
                Poco::File(path).remove(true);
            }
        } catch (...) {
        }
    }
    std::string path;
};

std::string& appFilesDirStorage() {
    static CAppFilesDir dir;
    return dir.path;
}

std::map<std::string, ChildJob>& childJobs() {
    static std::map<std::string, ChildJob> jobs;
    return jobs;
}

std::string makeTempDir() {
    char pattern[] = "/tmp/vxt-platform-XXXXXX";
    const char* made = mkdtemp(pattern);
    return made != nullptr ? std::string(made) : std::string();
}

class CPlatformTestEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        const char* job = std::getenv(kChildJobVariable);
        const char* dir = std::getenv(kChildDirVariable);
        if (job != nullptr && dir != nullptr) {
            runJobAndExit(job, dir);
        }
        if (appFilesDirStorage().empty()) {
            appFilesDirStorage() = makeTempDir();
            ASSERT_FALSE(appFilesDirStorage().empty());
            setAppFilesDir(appFilesDirStorage());
        }
    }

private:
    static void runJobAndExit(const std::string& name, const std::string& dir) {
        const auto found = childJobs().find(name);
        const int status = found == childJobs().end() ? 99 : found->second(dir);
        std::fflush(nullptr);
        std::exit(status);
    }
};

const ::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new CPlatformTestEnvironment);

}  // namespace

void setAppFilesDir(const std::string& dir) {
    std::wstring wide;
    string_convert::StringToWstring(dir, wide);
    CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(wide);
}

const std::string& appFilesDir() { return appFilesDirStorage(); }

std::string logFilePath() { return appFilesDir() + "/vx_transfers.log"; }

CLogMark::CLogMark() {
    std::ifstream file(logFilePath(), std::ios::binary | std::ios::ate);
    if (file) {
        m_offset = file.tellg();
    }
}

std::vector<std::string> CLogMark::linesContaining(const std::string& text) const {
    std::vector<std::string> lines;
    std::ifstream file(logFilePath(), std::ios::binary);
    file.seekg(m_offset);
    std::string line;
    while (std::getline(file, line)) {
        if (line.find(text) != std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

CTempDir::CTempDir() : m_path(makeTempDir()) {}

CTempDir::~CTempDir() {
    try {
        Poco::File(m_path).remove(true);
    } catch (...) {
    }
}

CScopedEnv::CScopedEnv(const std::string& name, const char* value) : m_name(name) {
    const char* old = std::getenv(name.c_str());
    m_hadValue = old != nullptr;
    if (m_hadValue) {
        m_oldValue = old;
    }
    if (value != nullptr) {
        setenv(name.c_str(), value, 1);
    } else {
        unsetenv(name.c_str());
    }
}

CScopedEnv::~CScopedEnv() {
    if (m_hadValue) {
        setenv(m_name.c_str(), m_oldValue.c_str(), 1);
    } else {
        unsetenv(m_name.c_str());
    }
}

void registerChildJob(const std::string& name, ChildJob job) { childJobs()[name] = job; }

int runChildJob(const std::string& name, const std::string& dir, int timeoutSeconds) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        environment.push_back(*entry);
    }
    environment.push_back(std::string(kChildJobVariable) + "=" + name);
    environment.push_back(std::string(kChildDirVariable) + "=" + dir);
    std::vector<char*> envp;
    for (std::string& entry : environment) {
        envp.push_back(&entry[0]);
    }
    envp.push_back(nullptr);

    std::string program = "/proc/self/exe";
    std::string filter = kChildFilter;
    char* argv[] = {&program[0], &filter[0], nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, envp.data()) != 0) {
        return -1;
    }
    // An external process: poll its end against a deadline.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace platform_test
}  // namespace vx_transfers
