#include <sys/utsname.h>

#include <fstream>
#include <string>

#include "platform/porting/version.h"

namespace vx_transfers {
namespace version {

namespace {

// PRETTY_NAME of os-release(5), without its quotes; empty when there is none.
std::string distributionName() {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::ifstream file(path);
        std::string line;
        while (std::getline(file, line)) {
            const std::string key = "PRETTY_NAME=";
            if (line.compare(0, key.size(), key) != 0) {
                continue;
            }
            std::string value = line.substr(key.size());
            if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                value.back() == value.front()) {
                value = value.substr(1, value.size() - 2);
            }
            return value;
        }
    }
    return std::string();
}

}  // namespace

void getOsVersion(std::string& version) {
    struct utsname names;
    if (uname(&names) == 0) {
        version = std::string(names.sysname) + " " + names.release + " " + names.machine;
    } else {
        version = "Linux";
    }
    const std::string distribution = distributionName();
    if (!distribution.empty()) {
        version += " (" + distribution + ")";
    }
}

}  // namespace version
}  // namespace vx_transfers
