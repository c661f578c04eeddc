#include "CFilesTestEnvironment.h"

#include <Poco/File.h>
#include <Poco/TemporaryFile.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "db/CDatabase.h"
#include "db/CDatabaseTestAccess.h"
#include "managers/startup/CCurlInitializer.h"
#include "managers/startup/CSingleton.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

std::string CFilesTestEnvironment::s_folder;
std::unique_ptr<vxt_test::CLocalService> CFilesTestEnvironment::s_service;

void CFilesTestEnvironment::SetUp() {
    // A proxy of the machine running the tests must not carry the loopback calls.
    for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        unsetenv(name);
    }
    s_folder = Poco::TemporaryFile::tempName() + "-vxt-files";
    Poco::File(s_folder).createDirectories();
    std::wstring wide;
    string_convert::StringToWstring(s_folder, wide);
    CVxTransfersGlobalConfig* config = CVxTransfersGlobalConfig::getInstance();
    config->setAppFilesPath(wide);
    config->setUserAgent(kUserAgent);
    if (!CSingleton<CCurlInitializer>::getInstance()->initialize()) {
        throw std::runtime_error("libcurl could not be initialised");
    }
    CDatabase::getInstance();
    s_service = std::make_unique<vxt_test::CLocalService>();
    config->setRestEndPointUrl(s_service->baseUrl());
}

void CFilesTestEnvironment::TearDown() {
    s_service.reset();
    // Closed here rather than at exit, where the database library is already torn down.
    CDatabaseTestAccess::close();
    if (std::getenv("VXT_KEEP_TEST_FOLDER") != nullptr) {
        std::cout << "Test folder kept: " << s_folder << std::endl;
        return;
    }
    try {
        Poco::File(s_folder).remove(true);
    } catch (...) {
    }
}

const std::string& CFilesTestEnvironment::folder() { return s_folder; }

vxt_test::CLocalService& CFilesTestEnvironment::service() { return *s_service; }

int CFilesTestEnvironment::uniqueNumber() {
    static std::atomic<int> counter{100};
    return ++counter;
}

namespace {
::testing::Environment* const g_files =
    ::testing::AddGlobalTestEnvironment(new CFilesTestEnvironment);
}  // namespace

}  // namespace vx_transfers
