#include "support/CFreePort.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace vxt_test {

unsigned short CFreePort::pick() {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    bool ok = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
              ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    int error = errno;
    ::close(fd);
    if (!ok)
        throw std::runtime_error(std::string("cannot pick a free port: ") + std::strerror(error));
    return ntohs(address.sin_port);
}

}  // namespace vxt_test
