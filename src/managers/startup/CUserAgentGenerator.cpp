#include "managers/startup/CUserAgentGenerator.h"

#include "managers/startup/CVersionInfo.h"

namespace vx_transfers {

void CUserAgentGenerator::generate(std::string& userAgent) {
    std::string selfVersion;
    std::string osVersion;
    if (CVersionInfo* info = CVersionInfo::getInstance()) {
        info->getSelfVersion(selfVersion);
        info->getOsVersion(osVersion);
    }
    userAgent = "vx-transfers " + selfVersion + " - " + osVersion;
}

}  // namespace vx_transfers
