#include "CDbTestFolder.h"

#include <Poco/File.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>

#include "CDatabaseTestAccess.h"
#include "platform/Log.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

namespace {

bool isChildProcess() { return std::getenv(CDbTestFolder::kChildFolderVariable) != nullptr; }

// Closes the database and removes the folder once every test has run.
class CFolderRemover : public ::testing::Environment {
public:
    // The logger opens its file in the folder of its first line, for the life of the process:
    // that first line is written here, so that tests may point the library elsewhere later.
    void SetUp() override {
        CDbTestFolder::path();
        VXT_LOG_INFO("Database tests use " << CDbTestFolder::path());
    }
    void TearDown() override {
        CDatabaseTestAccess::close();
        if (!isChildProcess()) {
            Poco::File(CDbTestFolder::path()).remove(true);
        }
    }
};

const ::testing::Environment* const g_folderRemover =
    ::testing::AddGlobalTestEnvironment(new CFolderRemover);

}  // namespace

const std::string& CDbTestFolder::path() {
    static const std::string s_path = makeFolder();
    return s_path;
}

void CDbTestFolder::useAppFilesPath(const std::string& folder) {
    std::wstring wide;
    string_convert::StringToWstring(folder, wide);
    CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(wide);
}

void CDbTestFolder::restoreAppFilesPath() { useAppFilesPath(path()); }

std::string CDbTestFolder::logFilePath() { return path() + "/vx_transfers.log"; }

std::string CDbTestFolder::makeFolder() {
    std::string folder;
    if (isChildProcess()) {
        folder = std::getenv(kChildFolderVariable);
    } else {
        char pattern[] = "/tmp/vxt-db-tests-XXXXXX";
        if (mkdtemp(pattern) == nullptr) {
            throw std::runtime_error("cannot make the test folder");
        }
        folder = pattern;
    }
    useAppFilesPath(folder);
    return folder;
}

}  // namespace vx_transfers
