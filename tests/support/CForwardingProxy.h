// A small forward HTTP proxy on 127.0.0.1 for tests of proxy support. It takes requests in the
// absolute form that clients send to a proxy ("GET http://127.0.0.1:8080/x HTTP/1.1"), records
// each as it arrived (proxy headers included), forwards it to its loopback destination and
// relays the answer. Destinations other than loopback addresses are refused with 502 and are
// never contacted. No CONNECT tunnels: plain http destinations only.
#ifndef VXT_TESTS_SUPPORT_CFORWARDINGPROXY_H
#define VXT_TESTS_SUPPORT_CFORWARDINGPROXY_H

#include <Poco/Mutex.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Poco {
class ThreadPool;
namespace Net {
class HTTPServer;
}
}  // namespace Poco

namespace vxt_test {

class CForwardingProxy {
public:
    struct Record {
        std::string method;
        std::string target;  // as on the request line, e.g. "http://127.0.0.1:8080/login"
        std::vector<std::pair<std::string, std::string>> headers;  // as received
        int status = 0;  // status relayed to the client; 502 when forwarding failed

        // Value of the first header with this name (case-insensitive), or "".
        std::string header(const std::string& name) const;
    };

    // Listens on 127.0.0.1 with a free port; ready when the constructor returns.
    CForwardingProxy();
    // Stops accepting and waits for requests in progress.
    ~CForwardingProxy();
    CForwardingProxy(const CForwardingProxy&) = delete;
    CForwardingProxy& operator=(const CForwardingProxy&) = delete;

    unsigned short port() const { return m_port; }
    // "http://127.0.0.1:<port>"
    std::string url() const;

    // Every request that reached the proxy, oldest first. A request is recorded before it is
    // forwarded, so once the client has its answer the record is there.
    std::vector<Record> records() const;

    // Used by the request handler: keeps a record and gives its index, then sets its status.
    size_t add(const Record& record);
    void setStatus(size_t index, int status);

private:
    std::unique_ptr<Poco::ThreadPool> m_threads;
    std::unique_ptr<Poco::Net::HTTPServer> m_server;
    unsigned short m_port = 0;
    mutable Poco::FastMutex m_mutex;
    std::vector<Record> m_records;  // guarded by m_mutex
};

}  // namespace vxt_test

#endif
