#include "managers/startup/CVersionInfo.h"

#include <new>

#include "platform/porting/version.h"

namespace vx_transfers {

std::unique_ptr<CVersionInfo> CVersionInfo::m_instancePtr;

CVersionInfo* CVersionInfo::getInstance() {
    if (!m_instancePtr) {
        m_instancePtr.reset(new (std::nothrow) CVersionInfo());
    }
    return m_instancePtr.get();
}

CVersionInfo::CVersionInfo() {
    version::getSelfVersion(m_selfVersion);
    version::getOsVersion(m_osVersion);
}

void CVersionInfo::getSelfVersion(std::string& version) const { version = m_selfVersion; }

void CVersionInfo::getOsVersion(std::string& version) const { version = m_osVersion; }

}  // namespace vx_transfers
