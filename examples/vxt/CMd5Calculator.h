// MD5s of local files, worked out on a thread of their own while the upload runs, so that the
// manifest gets them without delaying the first byte on the wire.
#ifndef VXT_CMD5CALCULATOR_H
#define VXT_CMD5CALCULATOR_H

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace vxt {

class CMd5Calculator {
public:
    // Starts hashing the files, in order.
    explicit CMd5Calculator(std::vector<std::string> paths);
    // Cancels and joins.
    ~CMd5Calculator();
    CMd5Calculator(const CMd5Calculator&) = delete;
    CMd5Calculator& operator=(const CMd5Calculator&) = delete;

    // Stops at the next block; files not yet hashed get "".
    void cancel() { m_cancel = true; }
    // Waits for the thread; one lower-case hex digest per path, "" for a file that could not
    // be read or was not reached before cancel().
    const std::vector<std::string>& results();

    // The digest of one file, or "" when it cannot be read.
    static std::string ofFile(const std::string& path, const std::atomic<bool>* cancel = nullptr);

private:
    std::vector<std::string> m_paths;
    std::vector<std::string> m_results;
    std::atomic<bool> m_cancel{false};
    std::thread m_thread;
};

}  // namespace vxt

#endif
