#include "CChannelsTestEnvironment.h"

#include <Poco/File.h>
#include <Poco/TemporaryFile.h>

#include <atomic>
#include <fstream>
#include <random>
#include <stdexcept>

#include "db/CDatabase.h"
#include "db/CDatabaseTestAccess.h"
#include "managers/startup/CCurlInitializer.h"
#include "managers/startup/CSingleton.h"
#include "platform/porting/string_convert.h"
#include "support/CNginxEnvironment.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

std::string CChannelsTestEnvironment::s_folder;
std::string CChannelsTestEnvironment::s_sourcePath;
std::string CChannelsTestEnvironment::s_source;
std::unique_ptr<vxt_test::CLocalService> CChannelsTestEnvironment::s_service;
std::unique_ptr<vxt_test::CLocalService> CChannelsTestEnvironment::s_tlsService;

void CChannelsTestEnvironment::SetUp() {
    s_folder = Poco::TemporaryFile::tempName() + "-vxt-channels";
    Poco::File(s_folder).createDirectories();
    std::wstring wide;
    string_convert::StringToWstring(s_folder, wide);
    CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(wide);
    CVxTransfersGlobalConfig::getInstance()->setUserAgent(kUserAgent);
    if (!CSingleton<CCurlInitializer>::getInstance()->initialize()) {
        throw std::runtime_error("libcurl could not be initialised");
    }
    CDatabase::getInstance();

    std::mt19937_64 random(20240611);
    s_source.resize(kSourceSize);
    for (std::size_t i = 0; i < s_source.size(); i += 8) {
        const unsigned long long value = random();
        s_source.replace(i, 8, reinterpret_cast<const char*>(&value), 8);
    }
    s_sourcePath = s_folder + "/source.bin";
    std::ofstream(s_sourcePath, std::ios::binary).write(s_source.data(), s_source.size());

    s_service = std::make_unique<vxt_test::CLocalService>();
}

void CChannelsTestEnvironment::TearDown() {
    s_tlsService.reset();
    s_service.reset();
    // Closed here rather than at exit, where the database library is already torn down.
    CDatabaseTestAccess::close();
    try {
        Poco::File(s_folder).remove(true);
    } catch (...) {
    }
}

const std::string& CChannelsTestEnvironment::folder() { return s_folder; }

const std::string& CChannelsTestEnvironment::sourcePath() { return s_sourcePath; }

std::wstring CChannelsTestEnvironment::sourcePathWide() {
    std::wstring wide;
    string_convert::StringToWstring(s_sourcePath, wide);
    return wide;
}

const std::string& CChannelsTestEnvironment::source() { return s_source; }

std::string CChannelsTestEnvironment::sourceRange(unsigned long long offset,
                                                  unsigned long long size) {
    return s_source.substr(offset, size);
}

vxt_test::CLocalService& CChannelsTestEnvironment::service() { return *s_service; }

vxt_test::CLocalService& CChannelsTestEnvironment::tlsService() {
    if (!s_tlsService) {
        vxt_test::CLocalService::Options options;
        options.tls = true;
        s_tlsService = std::make_unique<vxt_test::CLocalService>(options);
    }
    return *s_tlsService;
}

std::string CChannelsTestEnvironment::uniqueName(const std::string& stem) {
    static std::atomic<int> counter{0};
    return stem + "-" + std::to_string(++counter);
}

namespace {
// nginx first, so that it is up before the first test and down after the last.
::testing::Environment* const g_nginx =
    ::testing::AddGlobalTestEnvironment(new vxt_test::CNginxEnvironment);
::testing::Environment* const g_channels =
    ::testing::AddGlobalTestEnvironment(new CChannelsTestEnvironment);
}  // namespace

}  // namespace vx_transfers
