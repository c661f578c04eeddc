#include "CManagersTestEnvironment.h"

#include <Poco/File.h>
#include <Poco/Path.h>
#include <Poco/TemporaryFile.h>
#include <gtest/gtest.h>

#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {
namespace {

// Points the application files folder (and so the log) at a fresh folder for the whole run,
// before any test can log.
class CFolderEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        Poco::File(CManagersTestEnvironment::folder()).createDirectories();
        std::wstring wide;
        string_convert::StringToWstring(CManagersTestEnvironment::folder(), wide);
        CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(wide);
    }

    void TearDown() override {
        try {
            Poco::File(CManagersTestEnvironment::folder()).remove(true);
        } catch (...) {
        }
    }
};

::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new CFolderEnvironment);

}  // namespace

const std::string& CManagersTestEnvironment::folder() {
    static const std::string s_folder = Poco::TemporaryFile::tempName() + "-vxt-managers";
    return s_folder;
}

}  // namespace vx_transfers
