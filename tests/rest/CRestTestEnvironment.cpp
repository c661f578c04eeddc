#include "CRestTestEnvironment.h"

#include <Poco/File.h>
#include <Poco/TemporaryFile.h>

#include <cstdlib>
#include <memory>

#include "managers/startup/CPocoSslInitializer.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vxt_test {

namespace {

std::string g_scratchDir;
std::unique_ptr<vx_transfers::CPocoSslInitializer> g_ssl;

// Registered once the library's statics exist, so this runs before their destructors: the SSL
// set-up is torn down while the library can still count it. Setting SSL up again after a full
// tear-down is not something a test run should depend on, so it stays up between repetitions.
void tearDownSsl() { g_ssl.reset(); }

const ::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new CRestTestEnvironment);

}  // namespace

void CRestTestEnvironment::SetUp() {
    if (!g_scratchDir.empty()) {
        return;
    }
    g_scratchDir = Poco::TemporaryFile::tempName();
    Poco::File(g_scratchDir).createDirectories();
    Poco::TemporaryFile::registerForDeletion(g_scratchDir);
    std::wstring widePath;
    vx_transfers::string_convert::StringToWstring(g_scratchDir, widePath);
    vx_transfers::CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(widePath);
    // A proxy of the machine running the tests must not carry the loopback calls.
    for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        unsetenv(name);
    }
    g_ssl.reset(new vx_transfers::CPocoSslInitializer());
    std::atexit(tearDownSsl);
}

const std::string& CRestTestEnvironment::scratchDir() { return g_scratchDir; }

}  // namespace vxt_test
