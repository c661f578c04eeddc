#include "platform/porting/linux/CUtimensatAttributesModifier.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <limits>
#include <new>

#include "platform/Log.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {

IFileAttributesModifier* IFileAttributesModifier::create() {
    return new (std::nothrow) CUtimensatAttributesModifier();
}

bool CUtimensatAttributesModifier::open(const std::wstring& path) {
    std::string narrow;
    string_convert::WStringToString(path, narrow);
    struct stat status;
    if (narrow.empty() || ::stat(narrow.c_str(), &status) != 0) {
        const int error = narrow.empty() ? ENOENT : errno;
        VXT_LOG_ERROR("File attributes: cannot open " << narrow << ": " << std::strerror(error));
        m_path.clear();
        return false;
    }
    m_path = narrow;
    return true;
}

void CUtimensatAttributesModifier::close() { m_path.clear(); }

bool CUtimensatAttributesModifier::setModificationDate(unsigned long long modificationDate) {
    if (m_path.empty()) {
        return false;
    }
    const unsigned long long seconds = modificationDate / 1000;
    if (seconds > static_cast<unsigned long long>(std::numeric_limits<time_t>::max())) {
        VXT_LOG_ERROR("File attributes: modification date out of range: " << modificationDate);
        return false;
    }
    struct timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(seconds);
    times[1].tv_nsec = static_cast<long>((modificationDate % 1000) * 1000000);
    if (::utimensat(AT_FDCWD, m_path.c_str(), times, 0) != 0) {
        const int error = errno;
        VXT_LOG_ERROR("File attributes: cannot set the modification time of "
                      << m_path << ": " << std::strerror(error));
        return false;
    }
    return true;
}

}  // namespace vx_transfers
