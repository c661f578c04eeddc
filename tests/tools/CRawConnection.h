// A plain TCP connection that writes requests by hand, as the transfer channels do, and reads
// answers byte by byte up to the end of a head.
#ifndef VXT_TESTS_TOOLS_CRAWCONNECTION_H
#define VXT_TESTS_TOOLS_CRAWCONNECTION_H

#include <Poco/Net/StreamSocket.h>

#include <string>

namespace vxt_test {

class CRawConnection {
public:
    explicit CRawConnection(unsigned short port);
    void send(const std::string& bytes);
    // The response head, up to and including the blank line; "" when the peer closed first.
    std::string readHead();
    // Up to `size` bytes (fewer when the peer closes).
    std::string read(std::size_t size);
    // Everything until the peer closes.
    std::string readToEnd();
    void close();

private:
    Poco::Net::StreamSocket m_socket;
};

}  // namespace vxt_test

#endif
