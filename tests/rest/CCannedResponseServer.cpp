#include "CCannedResponseServer.h"

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/TCPServer.h>
#include <Poco/Net/TCPServerConnection.h>
#include <Poco/Net/TCPServerConnectionFactory.h>
#include <Poco/Net/TCPServerParams.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>
#include <Poco/ThreadPool.h>

#include <sstream>

namespace vxt_test {

namespace {

// Reads one request (head and a body of Content-Length bytes) within the socket's time-out.
std::string readRequest(Poco::Net::StreamSocket& socket) {
    std::string data;
    char buffer[4096];
    size_t headEnd = std::string::npos;
    while ((headEnd = data.find("\r\n\r\n")) == std::string::npos) {
        const int count = socket.receiveBytes(buffer, sizeof(buffer));
        if (count <= 0) {
            return data;
        }
        data.append(buffer, static_cast<size_t>(count));
    }
    size_t bodyLength = 0;
    const std::string head = Poco::toLower(data.substr(0, headEnd));
    const size_t field = head.find("\r\ncontent-length:");
    if (field != std::string::npos) {
        const size_t valueStart = field + 17;
        const size_t valueEnd = head.find("\r\n", valueStart);
        bodyLength = Poco::NumberParser::parseUnsigned(
            Poco::trim(head.substr(valueStart, valueEnd - valueStart)));
    }
    while (data.size() < headEnd + 4 + bodyLength) {
        const int count = socket.receiveBytes(buffer, sizeof(buffer));
        if (count <= 0) {
            break;
        }
        data.append(buffer, static_cast<size_t>(count));
    }
    return data;
}

class CCannedConnection : public Poco::Net::TCPServerConnection {
public:
    CCannedConnection(const Poco::Net::StreamSocket& socket, CCannedResponseServer& server)
        : Poco::Net::TCPServerConnection(socket), m_server(server) {}

    void run() override {
        try {
            socket().setReceiveTimeout(Poco::Timespan(5, 0));
            m_server.record(readRequest(socket()));
            const std::string reply = m_server.reply();
            socket().sendBytes(reply.data(), static_cast<int>(reply.size()));
            socket().shutdownSend();
        } catch (const std::exception&) {
            // The client went away; nothing to answer.
        }
    }

private:
    CCannedResponseServer& m_server;
};

class CCannedConnectionFactory : public Poco::Net::TCPServerConnectionFactory {
public:
    explicit CCannedConnectionFactory(CCannedResponseServer& server) : m_server(server) {}
    Poco::Net::TCPServerConnection* createConnection(
        const Poco::Net::StreamSocket& socket) override {
        return new CCannedConnection(socket, m_server);
    }

private:
    CCannedResponseServer& m_server;
};

}  // namespace

CCannedResponseServer::CCannedResponseServer() : m_threads(new Poco::ThreadPool(1, 2)) {
    answer(200, "{}");
    Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
    m_port = socket.address().port();
    Poco::Net::TCPServerParams::Ptr params(new Poco::Net::TCPServerParams);
    params->setMaxThreads(2);
    m_server.reset(
        new Poco::Net::TCPServer(new CCannedConnectionFactory(*this), *m_threads, socket, params));
    m_server->start();
}

CCannedResponseServer::~CCannedResponseServer() {
    m_server->stop();
    m_server.reset();
    m_threads->joinAll();  // connections still answering use this object
}

std::string CCannedResponseServer::url() const {
    std::ostringstream text;
    text << "http://127.0.0.1:" << m_port;
    return text.str();
}

void CCannedResponseServer::answer(int status, const std::string& body,
                                   const std::string& extraHeaders) {
    std::ostringstream text;
    text << "HTTP/1.1 " << status << " Canned\r\n"
         << "Content-Type: application/json\r\n"
         << "Content-Length: " << body.size() << "\r\n"
         << extraHeaders << "Connection: close\r\n\r\n"
         << body;
    answerRaw(text.str());
}

void CCannedResponseServer::answerRaw(const std::string& bytes) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_reply = bytes;
}

std::string CCannedResponseServer::reply() const {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_reply;
}

void CCannedResponseServer::record(const std::string& request) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_requests.push_back(request);
}

std::vector<std::string> CCannedResponseServer::requests() const {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_requests;
}

}  // namespace vxt_test
