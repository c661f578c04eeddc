#include "CRawConnection.h"

#include <Poco/Net/SocketAddress.h>
#include <Poco/Timespan.h>

namespace vxt_test {

CRawConnection::CRawConnection(unsigned short port)
    : m_socket(Poco::Net::SocketAddress("127.0.0.1", port)) {
    m_socket.setReceiveTimeout(Poco::Timespan(10, 0));
}

void CRawConnection::send(const std::string& bytes) {
    m_socket.sendBytes(bytes.data(), static_cast<int>(bytes.size()));
}

std::string CRawConnection::readHead() {
    std::string head;
    char c;
    while (head.size() < 4 || head.compare(head.size() - 4, 4, "\r\n\r\n") != 0) {
        if (m_socket.receiveBytes(&c, 1) != 1) return std::string();
        head.push_back(c);
    }
    return head;
}

std::string CRawConnection::read(std::size_t size) {
    std::string out(size, '\0');
    std::size_t done = 0;
    while (done < size) {
        int n = m_socket.receiveBytes(&out[done], static_cast<int>(size - done));
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    out.resize(done);
    return out;
}

std::string CRawConnection::readToEnd() {
    std::string out;
    char buffer[4096];
    for (;;) {
        int n = m_socket.receiveBytes(buffer, sizeof buffer);
        if (n <= 0) return out;
        out.append(buffer, static_cast<std::size_t>(n));
    }
}

void CRawConnection::close() { m_socket.close(); }

}  // namespace vxt_test
