// What the REST tests need once per process, set up before the first test and torn down after
// the last: the library's files folder (log), an SSL client context, no proxy variables.
#ifndef VXT_TESTS_REST_CRESTTESTENVIRONMENT_H
#define VXT_TESTS_REST_CRESTTESTENVIRONMENT_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace vx_transfers {
class CPocoSslInitializer;
}

namespace vxt_test {

class CRestTestEnvironment : public ::testing::Environment {
public:
    CRestTestEnvironment();
    ~CRestTestEnvironment() override;

    void SetUp() override;
    // Tears SSL down while the library's statics are still alive.
    void TearDown() override;

    // The library's files folder for this process; the log is in it.
    static const std::string& scratchDir();

private:
    std::unique_ptr<vx_transfers::CPocoSslInitializer> m_ssl;
};

}  // namespace vxt_test

#endif
