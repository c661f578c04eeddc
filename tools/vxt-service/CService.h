// The local web service: buckets, files, the REST routes the transfer library calls, a data
// plane that stores uploaded bytes on disk and serves ranged downloads, and a control interface
// that tests use to seed data, inject faults and read what the service saw.
//
// It is an independent peer of the library: nothing here includes the library's headers.
#ifndef VXT_SERVICE_CSERVICE_H
#define VXT_SERVICE_CSERVICE_H

#include <memory>
#include <string>

namespace vxt_service {

struct ServiceConfig {
    // Address to listen on; only loopback addresses are expected.
    std::string host = "127.0.0.1";
    // 0 picks a free port; port() tells which one.
    unsigned short port = 0;
    // Folder for stored files, upload parts and the TLS certificate; created if missing.
    // Empty: a fresh folder under the system's temporary folder, removed again by the destructor.
    std::string dataDir;
    // Credentials that POST /login accepts.
    std::string user = "user";
    std::string password = "password";
    // Serve HTTPS with a self-signed certificate generated at start.
    bool tls = false;
    // Put in front of every REST route, e.g. "/vx" gives /vx/login. Empty or starting with '/'.
    // Data and control routes are not prefixed.
    std::string pathPrefix;
    // An external data server (e.g. nginx with PUT enabled) for the bytes, while the REST
    // routes stay here. dataPlaneUrl takes the place of "<root>/data" in every data URL handed
    // out (single-part and part upload URLs, download redirects); dataPlaneDir is the folder that
    // server stores PUT bodies in and serves from, where the service then judges, assembles and
    // hashes uploads. Give both or neither; empty: the service's own data routes and folder.
    std::string dataPlaneUrl;
    std::string dataPlaneDir;
    // Lifetime of the signed data URLs handed out, in seconds.
    unsigned int dataUrlLifetimeSeconds = 3600;
    // Lifetime of user tokens and bucket tokens, in seconds.
    unsigned int tokenLifetimeSeconds = 86400;
    // Most connections served at once; further ones wait in the accept queue.
    unsigned int maxConnections = 160;
    // Idle time after which a keep-alive connection is closed, and the longest wait for bytes
    // of a request that has begun, in milliseconds.
    unsigned int idleTimeoutMs = 30000;
    // Bounds on what a REST request may carry (the data plane has no body bound).
    unsigned int maxHeaderBytes = 16384;
    unsigned int maxRestBodyBytes = 1048576;
};

class CServiceImpl;

// One running service. Thread-safe. start() binds the socket and returns when requests can be
// served; stop() (also run by the destructor) closes every connection and joins its threads.
class CService {
public:
    explicit CService(const ServiceConfig& config);
    ~CService();
    CService(const CService&) = delete;
    CService& operator=(const CService&) = delete;

    // Throws std::runtime_error when the socket cannot be bound or the certificate made.
    void start();
    void stop();

    unsigned short port() const;
    // "http://127.0.0.1:<port>" + pathPrefix (https with TLS): the REST end-point for clients.
    std::string baseUrl() const;
    // "http://127.0.0.1:<port>": where the unprefixed control and data routes live.
    std::string rootUrl() const;
    const ServiceConfig& config() const;
    // The data folder actually used (the generated one when the configuration left it empty).
    std::string dataDir() const;

    // In-process access for tests that want to reach the state directly.
    CServiceImpl& impl();

private:
    std::unique_ptr<CServiceImpl> m_impl;
};

}  // namespace vxt_service

#endif
