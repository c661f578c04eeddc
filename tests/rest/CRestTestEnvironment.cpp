#include "CRestTestEnvironment.h"

#include <Poco/File.h>
#include <Poco/TemporaryFile.h>

#include <cstdlib>

#include "managers/startup/CPocoSslInitializer.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vxt_test {

namespace {

std::string g_scratchDir;

const ::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new CRestTestEnvironment);

}  // namespace

CRestTestEnvironment::CRestTestEnvironment() = default;
CRestTestEnvironment::~CRestTestEnvironment() = default;

void CRestTestEnvironment::SetUp() {
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
    m_ssl.reset(new vx_transfers::CPocoSslInitializer());
}

void CRestTestEnvironment::TearDown() { m_ssl.reset(); }

const std::string& CRestTestEnvironment::scratchDir() { return g_scratchDir; }

}  // namespace vxt_test
