#include "vxt-service/CServiceImpl.h"

#include <Poco/Net/Context.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SecureServerSocket.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/URI.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "vxt-service/CHttpConnection.h"
#include "vxt-service/CSelfSignedCertificate.h"
#include "vxt-service/CServiceIds.h"

namespace vxt_service {

CServiceImpl::CServiceImpl(const ServiceConfig& config)
    : m_config(config), m_rest(*this), m_data(*this), m_control(*this) {
    if (!m_config.pathPrefix.empty()) {
        while (!m_config.pathPrefix.empty() && m_config.pathPrefix.back() == '/') {
            m_config.pathPrefix.pop_back();
        }
        if (!m_config.pathPrefix.empty() && m_config.pathPrefix[0] != '/') {
            m_config.pathPrefix = "/" + m_config.pathPrefix;
        }
    }
    if (m_config.dataPlaneUrl.empty() != m_config.dataPlaneDir.empty()) {
        throw std::invalid_argument("give both the data plane's URL and its folder, or neither");
    }
    if (!m_config.dataPlaneDir.empty()) {
        m_config.dataPlaneDir = std::filesystem::absolute(m_config.dataPlaneDir).string();
    }
    prepareDataDir();
    m_store = std::make_unique<CObjectStore>(m_dataDir + "/objects");
    setDataServer(m_config.dataPlaneUrl, m_config.dataPlaneDir);
}

CServiceImpl::~CServiceImpl() {
    stop();
    if (m_ownsDataDir) {
        std::error_code ec;
        std::filesystem::remove_all(m_dataDir, ec);
    }
}

void CServiceImpl::prepareDataDir() {
    if (!m_config.dataDir.empty()) {
        m_dataDir = std::filesystem::absolute(m_config.dataDir).string();
        std::filesystem::create_directories(m_dataDir);
        return;
    }
    std::string pattern = std::filesystem::temp_directory_path().string() + "/vxt-service-XXXXXX";
    if (::mkdtemp(&pattern[0]) == nullptr) throw std::runtime_error("cannot make a data folder");
    m_dataDir = pattern;
    m_ownsDataDir = true;
}

Poco::Net::ServerSocket CServiceImpl::makeServerSocket() {
    Poco::Net::SocketAddress address(m_config.host, m_config.port);
    if (!m_config.tls) {
        Poco::Net::ServerSocket socket;
        socket.bind(address, true);
        socket.listen(256);
        return socket;
    }
    Poco::Net::initializeSSL();
    m_sslInitialized = true;
    std::string keyFile, certFile;
    CSelfSignedCertificate::create(m_dataDir, keyFile, certFile);
    Poco::Net::Context::Ptr context = new Poco::Net::Context(
        Poco::Net::Context::TLS_SERVER_USE, keyFile, certFile, "", Poco::Net::Context::VERIFY_NONE,
        9, false, "ALL:!aNULL:!eNULL:!LOW:!EXP:!MD5:@STRENGTH");
    Poco::Net::SecureServerSocket socket(context);
    socket.bind(address, true);
    socket.listen(256);
    return socket;
}

void CServiceImpl::start() {
    if (m_running) return;
    // Peers that vanish mid-body must give errors, not kill the process.
    struct sigaction current;
    if (::sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
        ::signal(SIGPIPE, SIG_IGN);
    }
    m_stop.clear();
    try {
        m_serverSocket = makeServerSocket();
    } catch (const Poco::Exception& e) {
        throw std::runtime_error("vxt-service cannot listen on " + m_config.host + ":" +
                                 std::to_string(m_config.port) + ": " + e.displayText());
    }
    m_port = m_serverSocket.address().port();
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC);
    if (m_wakeFd < 0) throw std::runtime_error("vxt-service: eventfd failed");
    m_running = true;
    m_acceptor = std::thread([this] { acceptLoop(); });
}

void CServiceImpl::acceptLoop() {
    const int listenFd = m_serverSocket.impl()->sockfd();
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(m_threadsMutex);
            reapFinishedNoLock();
            // At the connection limit, further clients wait in the listen queue.
            m_threadsChanged.wait(lock, [this] {
                return m_stop.raised() || !m_finished.empty() ||
                       m_threads.size() < m_config.maxConnections;
            });
            reapFinishedNoLock();
            if (m_threads.size() >= m_config.maxConnections) continue;
        }
        if (m_stop.raised()) return;
        pollfd fds[2] = {{listenFd, POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0) continue;
        if (m_stop.raised() || (fds[1].revents & POLLIN)) return;
        if (!(fds[0].revents & POLLIN)) continue;
        Poco::Net::StreamSocket socket;
        try {
            socket = m_serverSocket.acceptConnection();
        } catch (const std::exception&) {
            continue;  // the client gave up between poll and accept, or the TLS setup failed
        }
        std::lock_guard<std::mutex> lock(m_threadsMutex);
        std::uint64_t id = m_nextConnectionId;  // a key only; the connection takes its own id
        while (m_threads.count(id) != 0) ++id;
        m_threads.emplace(id, std::thread([this, socket, id] {
                              CHttpConnection(socket, *this).run();
                              std::lock_guard<std::mutex> done(m_threadsMutex);
                              m_finished.push_back(id);
                              m_threadsChanged.notify_all();
                          }));
    }
}

void CServiceImpl::reapFinishedNoLock() {
    for (std::uint64_t id : m_finished) {
        auto it = m_threads.find(id);
        if (it == m_threads.end()) continue;
        it->second.join();
        m_threads.erase(it);
    }
    m_finished.clear();
}

void CServiceImpl::stop() {
    if (!m_running) return;
    m_stop.raise();
    m_log.interrupt();
    std::uint64_t one = 1;
    if (::write(m_wakeFd, &one, sizeof one) < 0) {
        // The stop flag is raised; the loop sees it at its next turn.
    }
    {
        std::lock_guard<std::mutex> lock(m_threadsMutex);
        m_threadsChanged.notify_all();
    }
    m_acceptor.join();
    {
        std::lock_guard<std::mutex> lock(m_connectionsMutex);
        for (auto* socket : m_connections) {
            try {
                socket->shutdown();
            } catch (const std::exception&) {
            }
        }
    }
    std::map<std::uint64_t, std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(m_threadsMutex);
        threads.swap(m_threads);
        m_finished.clear();
    }
    for (auto& entry : threads) entry.second.join();
    m_serverSocket.close();
    ::close(m_wakeFd);
    m_wakeFd = -1;
    m_running = false;
    if (m_sslInitialized) {
        Poco::Net::uninitializeSSL();
        m_sslInitialized = false;
    }
}

std::string CServiceImpl::rootUrl() const {
    std::string host =
        m_config.host.find(':') != std::string::npos ? "[" + m_config.host + "]" : m_config.host;
    return std::string(m_config.tls ? "https" : "http") + "://" + host + ":" +
           std::to_string(m_port);
}

std::string CServiceImpl::dataUrl(const std::string& key, const std::string& method,
                                  std::uint64_t expiresMs) const {
    std::string base;
    {
        std::lock_guard<std::mutex> lock(m_dataServerMutex);
        base = m_externalDataUrl;
    }
    if (base.empty()) base = rootUrl() + "/data";
    while (!base.empty() && base.back() == '/') base.pop_back();
    std::string basePath = Poco::URI(base).getPath();
    while (!basePath.empty() && basePath.back() == '/') basePath.pop_back();
    return base + "/" + key + "?" + m_signer.sign(method, basePath + "/" + key, expiresMs);
}

std::uint64_t CServiceImpl::dataUrlExpiry() const {
    return CServiceIds::nowMs() + m_config.dataUrlLifetimeSeconds * 1000ULL;
}

void CServiceImpl::setDataServer(const std::string& baseUrl, const std::string& rootDir) {
    {
        std::lock_guard<std::mutex> lock(m_dataServerMutex);
        m_externalDataUrl = baseUrl;
    }
    m_store->setRoot(rootDir.empty() ? m_dataDir + "/objects" : rootDir);
}

bool CServiceImpl::externalDataServer() const {
    std::lock_guard<std::mutex> lock(m_dataServerMutex);
    return !m_externalDataUrl.empty();
}

std::uint64_t CServiceImpl::connectionOpened(Poco::Net::StreamSocket* socket) {
    {
        std::lock_guard<std::mutex> lock(m_connectionsMutex);
        m_connections.insert(socket);
    }
    return m_nextConnectionId++;
}

void CServiceImpl::connectionClosed(Poco::Net::StreamSocket* socket) {
    std::lock_guard<std::mutex> lock(m_connectionsMutex);
    m_connections.erase(socket);
}

void CServiceImpl::dataRequestStarted() {
    unsigned int now = ++m_currentData;
    unsigned int seen = m_maxData.load();
    while (now > seen && !m_maxData.compare_exchange_weak(seen, now)) {
    }
}

void CServiceImpl::dataRequestEnded() { --m_currentData; }

ServiceStats CServiceImpl::stats() const {
    ServiceStats s;
    s.currentDataConnections = m_currentData.load();
    s.maxConcurrentDataConnections = m_maxData.load();
    s.connectionsAccepted = m_nextConnectionId.load() - 1;
    s.requestsServed = m_requests.load();
    return s;
}

void CServiceImpl::resetStats() { m_maxData = m_currentData.load(); }

void CServiceImpl::reset() {
    {
        std::lock_guard<std::mutex> lock(m_state.mutex());
        m_state.clearNoLock();
    }
    m_faults.clear();
    m_throttle = 0;
    m_log.clear();
    m_store->clear();
    // A data plane given at start-up is part of the service, not a test's setting.
    setDataServer(m_config.dataPlaneUrl, m_config.dataPlaneDir);
    m_store->clear();
    resetStats();
}

}  // namespace vxt_service
