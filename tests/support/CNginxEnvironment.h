// One nginx per test binary: register it in main or at namespace scope with
//     static auto* env = ::testing::AddGlobalTestEnvironment(new vxt_test::CNginxEnvironment);
// and reach it from tests through CNginxEnvironment::nginx(). It starts in SetUp (before the
// first test) and stops in TearDown (after the last).
#ifndef VXT_TESTS_SUPPORT_CNGINXENVIRONMENT_H
#define VXT_TESTS_SUPPORT_CNGINXENVIRONMENT_H

#include <gtest/gtest.h>

#include <memory>

#include "support/CNginxFixture.h"

namespace vxt_test {

class CNginxEnvironment : public ::testing::Environment {
public:
    void SetUp() override;
    void TearDown() override;

    // The running nginx; fails the current test (and throws) if the environment is not set up.
    static CNginxFixture& nginx();

private:
    static std::unique_ptr<CNginxFixture> s_nginx;
};

}  // namespace vxt_test

#endif
