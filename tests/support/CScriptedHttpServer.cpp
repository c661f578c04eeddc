#include "support/CScriptedHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace vxt_test {

CScriptedHttpServer::CScriptedHttpServer(std::string reply) : m_reply(std::move(reply)) {
    m_listen = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (m_listen < 0 || ::bind(m_listen, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(m_listen, 8) != 0 ||
        ::getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("scripted server: cannot listen on 127.0.0.1");
    }
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { serve(); });
}

CScriptedHttpServer::~CScriptedHttpServer() {
    m_stop = true;
    m_thread.join();
    ::close(m_listen);
}

std::string CScriptedHttpServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(m_port) + "/" + path;
}

int CScriptedHttpServer::requests() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

bool CScriptedHttpServer::waitForRequests(int count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_requests >= count; });
}

bool CScriptedHttpServer::waitReadable(int fd) {
    // Short turns, so that the destructor never waits long for this thread.
    while (!m_stop) {
        pollfd entry{fd, POLLIN, 0};
        if (::poll(&entry, 1, 50) > 0) return true;
    }
    return false;
}

void CScriptedHttpServer::serve() {
    while (waitReadable(m_listen)) {
        const int fd = ::accept4(m_listen, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            serveConnection(fd);
            ::close(fd);
        }
    }
}

void CScriptedHttpServer::serveConnection(int fd) {
    std::string head;
    char byte = 0;
    while (head.find("\r\n\r\n") == std::string::npos) {
        if (!waitReadable(fd) || ::recv(fd, &byte, 1, 0) != 1) return;
        head += byte;
    }
    unsigned long long body = 0;
    const std::string::size_type field = head.find("Content-Length: ");
    if (field != std::string::npos) body = std::strtoull(head.c_str() + field + 16, nullptr, 10);
    char buffer[65536];
    while (body > 0) {
        if (!waitReadable(fd)) return;
        const ssize_t got = ::recv(fd, buffer, body < sizeof buffer ? body : sizeof buffer, 0);
        if (got <= 0) return;
        body -= static_cast<unsigned long long>(got);
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_requests;
        m_changed.notify_all();
    }
    if (m_reply.empty()) {
        while (waitReadable(fd) && ::recv(fd, buffer, sizeof buffer, 0) > 0) {
        }
        return;
    }
    ::send(fd, m_reply.data(), m_reply.size(), MSG_NOSIGNAL);
}

}  // namespace vxt_test
