// A one-thread HTTP server on 127.0.0.1 that answers every request with the same scripted bytes,
// for replies no real server gives: a malformed head, or silence. It reads each request's head
// and its Content-Length body before answering; with an empty reply it stays silent until it is
// destroyed. Connections are served one after another.
#ifndef VXT_TESTS_SUPPORT_CSCRIPTEDHTTPSERVER_H
#define VXT_TESTS_SUPPORT_CSCRIPTEDHTTPSERVER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vxt_test {

class CScriptedHttpServer {
public:
    explicit CScriptedHttpServer(std::string reply);
    ~CScriptedHttpServer();
    CScriptedHttpServer(const CScriptedHttpServer&) = delete;
    CScriptedHttpServer& operator=(const CScriptedHttpServer&) = delete;

    // "http://127.0.0.1:<port>/<path>"
    std::string url(const std::string& path) const;
    // Requests whose head and body were read completely.
    int requests() const;
    bool waitForRequests(int count, std::chrono::milliseconds timeout) const;

private:
    void serve();
    void serveConnection(int fd);
    bool waitReadable(int fd);

    std::string m_reply;
    int m_listen = -1;
    unsigned short m_port = 0;
    std::atomic<bool> m_stop{false};
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    int m_requests = 0;
    std::thread m_thread;
};

}  // namespace vxt_test

#endif
