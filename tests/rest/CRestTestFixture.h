// Base fixture of the REST tests: a fresh local service for each test, the REST end-point
// pointing at it (the process is set up by CRestTestEnvironment), and helpers to read the library's
// log and the service's request log.
#ifndef VXT_TESTS_REST_CRESTTESTFIXTURE_H
#define VXT_TESTS_REST_CRESTTESTFIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/CLocalService.h"
#include "support/CServiceControlClient.h"

namespace vxt_test {

class CRestTestFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Points the library's REST end-point at `url`.
    static void setEndPoint(const std::string& url);
    // The service, started with `options`, replacing the default one.
    CLocalService& restartService(const CLocalService::Options& options);
    CLocalService& service() { return *m_service; }

    // The requests the service logged for one route.
    std::vector<CServiceControlClient::RequestRecord> requests(const std::string& route);
    // Every request the service logged, whatever its route.
    std::vector<CServiceControlClient::RequestRecord> allRequests();
    // The only request of one route; fails the test when there is not exactly one.
    CServiceControlClient::RequestRecord onlyRequest(const std::string& route);

    // The library's log written since this test started (or since markLog()).
    std::string logSinceMark() const;
    void markLog();

    // A folder of this process for files the tests make.
    static const std::string& scratchDir();

private:
    std::unique_ptr<CLocalService> m_service;
    size_t m_logMark = 0;
};

}  // namespace vxt_test

#endif
