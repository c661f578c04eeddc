// What the REST tests need once per process, set up before the first test: the library's files
// folder (log), an SSL client context for the whole run, no proxy variables.
#ifndef VXT_TESTS_REST_CRESTTESTENVIRONMENT_H
#define VXT_TESTS_REST_CRESTTESTENVIRONMENT_H

#include <gtest/gtest.h>

#include <string>

namespace vxt_test {

class CRestTestEnvironment : public ::testing::Environment {
public:

    // Idempotent, so that repeated runs of the tests in one process work.
    void SetUp() override;

    // The library's files folder for this process; the log is in it.
    static const std::string& scratchDir();
};

}  // namespace vxt_test

#endif
