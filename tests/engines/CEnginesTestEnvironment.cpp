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
class CEnginesTestEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        m_folder = Poco::TemporaryFile::tempName() + "-vxt-engines";
        Poco::File(m_folder).createDirectories();
        std::wstring wide;
        string_convert::StringToWstring(m_folder, wide);
        CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(wide);
    }

    void TearDown() override {
        try {
            Poco::File(m_folder).remove(true);
        } catch (...) {
        }
    }

private:
    std::string m_folder;
};

::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new CEnginesTestEnvironment);

}  // namespace
}  // namespace vx_transfers
