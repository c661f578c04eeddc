// What every channel test shares, set up once per test binary: a fresh application folder (log
// and database), libcurl, the user agent, a source file of known pseudo-random bytes, nginx, and
// the local service over http and over https.
#ifndef VXT_TESTS_CHANNELS_CCHANNELSTESTENVIRONMENT_H
#define VXT_TESTS_CHANNELS_CCHANNELSTESTENVIRONMENT_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/CLocalService.h"

namespace vx_transfers {

class CChannelsTestEnvironment : public ::testing::Environment {
public:
    static constexpr unsigned long long kSourceSize = 24ULL * 1024 * 1024;
    static constexpr const char* kUserAgent = "vxt-channel-tests/1.0";

    void SetUp() override;
    void TearDown() override;

    static const std::string& folder();
    // The source file and its bytes.
    static const std::string& sourcePath();
    static std::wstring sourcePathWide();
    static const std::string& source();
    static std::string sourceRange(unsigned long long offset, unsigned long long size);

    static vxt_test::CLocalService& service();
    static vxt_test::CLocalService& tlsService();
    // Each call a name no other test uses (file uids, server paths).
    static std::string uniqueName(const std::string& stem);

private:
    static std::string s_folder;
    static std::string s_sourcePath;
    static std::string s_source;
    static std::unique_ptr<vxt_test::CLocalService> s_service;
    static std::unique_ptr<vxt_test::CLocalService> s_tlsService;
};

}  // namespace vx_transfers

#endif
