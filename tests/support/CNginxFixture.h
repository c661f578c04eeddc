// An independent data server for tests: Debian's nginx (/usr/sbin/nginx) started as a child
// process on a free loopback port, with its configuration, root, logs, pid file and body temp
// folder all inside a fresh temporary folder. It serves:
//   - GET and HEAD of files under root(), with Range support and sendfile;
//   - PUT of files under root() (the DAV module, creating missing folders);
// and logs each request as one access-log line holding $request, $status and $http_range.
//
// The constructor starts nginx and returns once it answers (bounded wait); the destructor
// stops it by its PID, reaps it and deletes the folder. If nginx is missing or does not come up,
// the constructor throws std::runtime_error with nginx's error log: tests never skip silently.
//
// To have the local service hand out nginx URLs for data:
//     service.control().setDataServer(nginx.baseUrl(), nginx.root());
#ifndef VXT_TESTS_SUPPORT_CNGINXFIXTURE_H
#define VXT_TESTS_SUPPORT_CNGINXFIXTURE_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vxt_test {

class CNginxFixture {
public:
    // One line of the access log.
    struct AccessLogEntry {
        std::string request;              // "$request": e.g. "GET /a/b.bin HTTP/1.1"
        int status = 0;                   // "$status"
        std::string range;                // "$http_range", "" when the request had none
        std::uint64_t bodyBytesSent = 0;  // "$body_bytes_sent"
        std::uint64_t requestLength = 0;  // "$request_length" (head and body)
        std::string method() const;       // first word of `request`
        std::string path() const;         // second word of `request`
    };

    CNginxFixture();
    ~CNginxFixture();
    CNginxFixture(const CNginxFixture&) = delete;
    CNginxFixture& operator=(const CNginxFixture&) = delete;

    // "http://127.0.0.1:<port>"
    std::string baseUrl() const;
    // baseUrl() + "/" + relativePath (without a leading slash in relativePath).
    std::string urlFor(const std::string& relativePath) const;
    unsigned short port() const { return m_port; }
    pid_t pid() const { return m_pid; }
    // Absolute path of the folder nginx serves and PUTs into.
    const std::string& root() const { return m_root; }
    // Absolute path of the temporary folder holding everything.
    const std::string& dir() const { return m_dir; }
    std::string accessLogPath() const;
    std::string errorLogPath() const;

    // Writes a file under root() (folders created), for nginx to serve.
    void writeFile(const std::string& relativePath, const std::string& content) const;
    // Content of a file under root(); throws if it does not exist.
    std::string readFile(const std::string& relativePath) const;

    // The access log as it stands.
    std::vector<AccessLogEntry> accessLog() const;
    // Waits (bounded, re-reading the log file of the external process) until an entry satisfies
    // `predicate`; returns it, or throws std::runtime_error after `timeout`.
    AccessLogEntry waitForAccess(const std::function<bool(const AccessLogEntry&)>& predicate,
                                 std::chrono::milliseconds timeout) const;

    // Stops nginx early (the destructor does it otherwise). Idempotent.
    void stop();

private:
    void writeConfig() const;
    void launch();
    void waitUntilAnswering(std::chrono::milliseconds timeout);

    std::string m_dir;
    std::string m_root;
    unsigned short m_port = 0;
    pid_t m_pid = -1;
};

}  // namespace vxt_test

#endif
