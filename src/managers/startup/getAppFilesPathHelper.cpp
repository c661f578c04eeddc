#include "managers/startup/getAppFilesPathHelper.h"

#include <Poco/File.h>

#include <exception>

#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

void getAppFilesPathHelper(std::string& path) {
    std::string converted;
    try {
        CVxTransfersGlobalConfig* config = CVxTransfersGlobalConfig::getInstance();
        if (config == nullptr) {
            return;
        }
        const std::wstring appFilesPath = config->getAppFilesPath();
        if (appFilesPath.empty()) {
            return;
        }
        string_convert::WStringToString(appFilesPath, converted);
    } catch (...) {
        return;
    }
    try {
        Poco::File folder(converted);
        if (!folder.exists()) {
            folder.createDirectories();
        }
    } catch (...) {
        // The folder stays missing; whoever opens a file in it will report that.
    }
    path = converted;
}

}  // namespace vx_transfers
