// The local web service, run inside the test process on 127.0.0.1 with a free port and a fresh
// temporary data folder. Typical use in a fixture:
//
//     vxt_test::CLocalService service;                 // started, ready for requests
//     config->setRestEndPointUrl(service.baseUrl());   // "http://127.0.0.1:<port>"
//     auto bucket = service.control().createBucket();
//     auto target = service.control().registerUpload(bucket.bucketId, "a.bin", size);
//     ... run the library ...
//     EXPECT_EQ(service.control().file(bucket.bucketId, target.fileId).md5, expectedMd5);
//
// The destructor stops the service (closing every connection) and deletes the data folder.
#ifndef VXT_TESTS_SUPPORT_CLOCALSERVICE_H
#define VXT_TESTS_SUPPORT_CLOCALSERVICE_H

#include <memory>
#include <string>

#include "support/CServiceControlClient.h"

namespace vxt_service {
class CService;
}

namespace vxt_test {

class CLocalService {
public:
    struct Options {
        std::string user = "tester";  // accepted by POST /login
        std::string password = "secret";
        bool tls = false;        // https with a self-signed certificate made at start
        std::string pathPrefix;  // e.g. "/vx": REST routes become /vx/login, ...
        unsigned int dataUrlLifetimeSeconds = 3600;  // expiry of the signed data URLs
    };

    // Starts the service; throws std::runtime_error if it cannot.
    CLocalService();
    explicit CLocalService(const Options& options);
    ~CLocalService();
    CLocalService(const CLocalService&) = delete;
    CLocalService& operator=(const CLocalService&) = delete;

    // REST end-point: "http(s)://127.0.0.1:<port>" followed by the path prefix.
    std::string baseUrl() const;
    // Unprefixed root, where the control ("/_control/...") and data ("/data/...") routes live.
    std::string rootUrl() const;
    unsigned short port() const;
    bool tls() const;
    const Options& options() const { return m_options; }
    // The service's data folder (stored files live below it).
    std::string dataDir() const;

    // Logs in with the configured credentials through POST /login; gives the user token for
    // the x-vx-auth-token header.
    std::string login();

    // The control client bound to this service.
    CServiceControlClient& control() { return *m_control; }

    // The in-process service object, for the rare test that needs it directly.
    vxt_service::CService& service() { return *m_service; }

    // Stops the service early (the destructor does it otherwise). Idempotent.
    void stop();

private:
    Options m_options;
    std::unique_ptr<vxt_service::CService> m_service;
    std::unique_ptr<CServiceControlClient> m_control;
};

}  // namespace vxt_test

#endif
