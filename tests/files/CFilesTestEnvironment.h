// What the upload file tests share, set up once per test binary: a fresh application folder
// (log and database), libcurl, the user agent, and the local service as the REST end-point.
#ifndef VXT_TESTS_FILES_CFILESTESTENVIRONMENT_H
#define VXT_TESTS_FILES_CFILESTESTENVIRONMENT_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/CLocalService.h"

namespace vx_transfers {

class CFilesTestEnvironment : public ::testing::Environment {
public:
    static constexpr const char* kUserAgent = "vxt-files-tests/1.0";

    void SetUp() override;
    void TearDown() override;

    static const std::string& folder();
    static vxt_test::CLocalService& service();
    // Each call a number no other test uses (group ids, file names).
    static int uniqueNumber();

private:
    static std::string s_folder;
    static std::unique_ptr<vxt_test::CLocalService> s_service;
};

}  // namespace vx_transfers

#endif
