#pragma once

#include <memory>
#include <string>

namespace vx_transfers {

// The library's and the operating system's versions, read once from the platform and kept
// for the process (log banners, user agent).
class CVersionInfo {
public:
    // Made on first use; null if that failed. Not thread-safe on the first call: the global
    // configuration makes it from start-up code.
    static CVersionInfo* getInstance();

    void getSelfVersion(std::string& version) const;
    void getOsVersion(std::string& version) const;

    CVersionInfo(const CVersionInfo&) = delete;
    CVersionInfo& operator=(const CVersionInfo&) = delete;

private:
    CVersionInfo();

    static std::unique_ptr<CVersionInfo> m_instancePtr;

    std::string m_selfVersion;
    std::string m_osVersion;
};

}  // namespace vx_transfers
