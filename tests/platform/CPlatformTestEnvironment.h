#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace vx_transfers {
namespace platform_test {

// Every test process of this binary logs into a temporary application files folder of its own,
// set before the first test runs and removed at exit.
const std::string& appFilesDir();
std::string logFilePath();

// The end of the log file when the object was made: linesContaining() gives the lines written
// since then that contain the text, however many tests (or repetitions) wrote before.
class CLogMark {
public:
    CLogMark();
    std::vector<std::string> linesContaining(const std::string& text) const;

private:
    std::streamoff m_offset = 0;
};

// A folder made for one test and removed with the object.
class CTempDir {
public:
    CTempDir();
    ~CTempDir();
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

    CTempDir(const CTempDir&) = delete;
    CTempDir& operator=(const CTempDir&) = delete;

private:
    std::string m_path;
};

// Sets an environment variable (or unsets it, for a null value) and restores the old value.
class CScopedEnv {
public:
    CScopedEnv(const std::string& name, const char* value);
    ~CScopedEnv();

    CScopedEnv(const CScopedEnv&) = delete;
    CScopedEnv& operator=(const CScopedEnv&) = delete;

private:
    std::string m_name;
    bool m_hadValue;
    std::string m_oldValue;
};

// Sets the application files folder of the global configuration.
void setAppFilesDir(const std::string& dir);

// Jobs that need a fresh process, because the logger is made once per process and keeps its
// file: this binary runs again with the job's name and folder in its environment, does the job
// before anything else (no application files folder is set in that process), and exits with
// the job's status.
using ChildJob = std::function<int(const std::string& dir)>;
void registerChildJob(const std::string& name, ChildJob job);

// Runs the job in a child process with `dir` as its folder; returns the exit status, or -1 if
// the child did not end within the time limit (it is killed) or died of a signal.
int runChildJob(const std::string& name, const std::string& dir, int timeoutSeconds = 120);

}  // namespace platform_test
}  // namespace vx_transfers
