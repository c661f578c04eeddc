// Everything one running service owns, and what its route handlers share. One thread accepts
// connections and one thread serves each connection, up to maxConnections at once. Lock order:
// the state's mutex before the object store's; the log, the fault table, the connection registry
// and the thread list are leaves.
#ifndef VXT_SERVICE_CSERVICEIMPL_H
#define VXT_SERVICE_CSERVICEIMPL_H

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "vxt-service/CControlRoutes.h"
#include "vxt-service/CDataRoutes.h"
#include "vxt-service/CFaultTable.h"
#include "vxt-service/CObjectStore.h"
#include "vxt-service/CRequestLog.h"
#include "vxt-service/CRestRoutes.h"
#include "vxt-service/CService.h"
#include "vxt-service/CServiceState.h"
#include "vxt-service/CStopSignal.h"
#include "vxt-service/CUrlSigner.h"

namespace vxt_service {

struct ServiceStats {
    unsigned int currentDataConnections = 0;
    unsigned int maxConcurrentDataConnections = 0;
    std::uint64_t connectionsAccepted = 0;
    std::uint64_t requestsServed = 0;
};

class CServiceImpl {
public:
    explicit CServiceImpl(const ServiceConfig& config);
    ~CServiceImpl();

    void start();
    void stop();

    const ServiceConfig& config() const { return m_config; }
    unsigned short port() const { return m_port; }
    std::string rootUrl() const;
    std::string baseUrl() const { return rootUrl() + m_config.pathPrefix; }
    const std::string& dataDir() const { return m_dataDir; }
    bool tls() const { return m_config.tls; }

    CServiceState& state() { return m_state; }
    CObjectStore& store() { return *m_store; }
    CUrlSigner& signer() { return m_signer; }
    CRequestLog& log() { return m_log; }
    CFaultTable& faults() { return m_faults; }
    const CStopSignal& stopSignal() const { return m_stop; }
    CRestRoutes& rest() { return m_rest; }
    CDataRoutes& data() { return m_data; }
    CControlRoutes& control() { return m_control; }

    // The signed URL of a stored key, on the service itself or on the external data server.
    std::string dataUrl(const std::string& key, const std::string& method,
                        std::uint64_t expiresMs) const;
    std::uint64_t dataUrlExpiry() const;
    void setDataServer(const std::string& baseUrl, const std::string& rootDir);
    bool externalDataServer() const;

    std::uint64_t throttle() const { return m_throttle.load(); }
    void setThrottle(std::uint64_t bytesPerSecond) { m_throttle = bytesPerSecond; }

    std::uint64_t connectionOpened(Poco::Net::StreamSocket* socket);
    void connectionClosed(Poco::Net::StreamSocket* socket);
    void dataRequestStarted();
    void dataRequestEnded();
    void requestServed() { ++m_requests; }
    ServiceStats stats() const;
    void resetStats();

    // Back to a fresh service: no buckets, files, faults, throttle or log, and the data plane of
    // the configuration (none unless it names one).
    void reset();

private:
    void prepareDataDir();
    Poco::Net::ServerSocket makeServerSocket();
    void acceptLoop();
    // Joins the connection threads that have finished; m_threadsMutex held.
    void reapFinishedNoLock();

    ServiceConfig m_config;
    std::string m_dataDir;
    bool m_ownsDataDir = false;
    unsigned short m_port = 0;

    CServiceState m_state;
    std::unique_ptr<CObjectStore> m_store;
    CUrlSigner m_signer;
    CRequestLog m_log;
    CFaultTable m_faults;
    CStopSignal m_stop;
    CRestRoutes m_rest;
    CDataRoutes m_data;
    CControlRoutes m_control;

    mutable std::mutex m_dataServerMutex;
    std::string m_externalDataUrl;  // guarded by m_dataServerMutex
    std::atomic<std::uint64_t> m_throttle{0};

    std::mutex m_connectionsMutex;
    std::set<Poco::Net::StreamSocket*> m_connections;  // guarded by m_connectionsMutex
    std::atomic<std::uint64_t> m_nextConnectionId{1};
    std::atomic<unsigned int> m_currentData{0};
    std::atomic<unsigned int> m_maxData{0};
    std::atomic<std::uint64_t> m_requests{0};

    Poco::Net::ServerSocket m_serverSocket;
    int m_wakeFd = -1;  // eventfd that ends the accept loop's wait
    std::thread m_acceptor;
    std::mutex m_threadsMutex;
    std::condition_variable m_threadsChanged;
    std::map<std::uint64_t, std::thread> m_threads;  // guarded by m_threadsMutex
    std::vector<std::uint64_t> m_finished;           // guarded by m_threadsMutex
    bool m_running = false;
    bool m_sslInitialized = false;
};

}  // namespace vxt_service

#endif
