// A loopback HTTP server that answers every request with bytes the test chose (well-formed or
// not) and then closes the connection, for the answers the local service never gives: wrong
// identifiers, missing keys, bodies that are not JSON, garbage instead of HTTP.
#ifndef VXT_TESTS_REST_CCANNEDRESPONSESERVER_H
#define VXT_TESTS_REST_CCANNEDRESPONSESERVER_H

#include <Poco/Mutex.h>

#include <memory>
#include <string>
#include <vector>

namespace Poco {
class ThreadPool;
namespace Net {
class TCPServer;
}
}  // namespace Poco

namespace vxt_test {

class CCannedResponseServer {
public:
    // Listens on 127.0.0.1 with a free port; answers 200 with "{}" until told otherwise.
    CCannedResponseServer();
    ~CCannedResponseServer();
    CCannedResponseServer(const CCannedResponseServer&) = delete;
    CCannedResponseServer& operator=(const CCannedResponseServer&) = delete;

    std::string url() const;

    // Every following request gets this status and body, with its Content-Length.
    void answer(int status, const std::string& body, const std::string& extraHeaders = "");
    // Every following request gets exactly these bytes, then the connection closes.
    void answerRaw(const std::string& bytes);

    // The requests received, each as its head and body.
    std::vector<std::string> requests() const;

    // Used by the connections.
    std::string reply() const;
    void record(const std::string& request);

private:
    std::unique_ptr<Poco::ThreadPool> m_threads;
    std::unique_ptr<Poco::Net::TCPServer> m_server;
    unsigned short m_port = 0;
    mutable Poco::FastMutex m_mutex;
    std::string m_reply;                  // guarded by m_mutex
    std::vector<std::string> m_requests;  // guarded by m_mutex
};

}  // namespace vxt_test

#endif
