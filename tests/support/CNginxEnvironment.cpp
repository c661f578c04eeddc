#include "support/CNginxEnvironment.h"

#include <stdexcept>

namespace vxt_test {

std::unique_ptr<CNginxFixture> CNginxEnvironment::s_nginx;

void CNginxEnvironment::SetUp() { s_nginx = std::make_unique<CNginxFixture>(); }

void CNginxEnvironment::TearDown() { s_nginx.reset(); }

CNginxFixture& CNginxEnvironment::nginx() {
    if (!s_nginx) {
        ADD_FAILURE() << "CNginxEnvironment is not registered or failed to start";
        throw std::runtime_error("nginx environment not set up");
    }
    return *s_nginx;
}

}  // namespace vxt_test
