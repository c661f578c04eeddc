#include "platform/porting/linux/CPosixLocalFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstring>
#include <limits>
#include <new>

#include "platform/Log.h"

namespace vx_transfers {

namespace {

int openRetryingOnSignal(const std::string& path, int flags) {
    int fd = -1;
    do {
        fd = ::open(path.c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

}  // namespace

ILocalFile* ILocalFile::create() { return new (std::nothrow) CPosixLocalFile(); }

CPosixLocalFile::~CPosixLocalFile() { close(); }

bool CPosixLocalFile::open(const std::string& path, int mode) {
    if (m_fd >= 0) {
        return false;
    }
    int flags = O_CLOEXEC;
    if (mode == MODE_READ) {
        flags |= O_RDONLY;
    } else if (mode == MODE_READ_WRITE) {
        flags |= O_RDWR | O_CREAT;
    } else {
        VXT_LOG_ERROR("Local file: unknown open mode " << mode << " for " << path);
        return false;
    }
    int fd = openRetryingOnSignal(path, flags);
    if (fd < 0 && mode == MODE_READ_WRITE && (errno == EACCES || errno == EROFS)) {
        // Channels open every file for reading and writing; an upload source that the user may
        // only read is still readable, which is all an upload needs.
        fd = openRetryingOnSignal(path, O_CLOEXEC | O_RDONLY);
    }
    if (fd < 0) {
        const int error = errno;
        VXT_LOG_ERROR("Local file: cannot open " << path << ": " << std::strerror(error));
        return false;
    }
    m_fd = fd;
    m_position = 0;
    return true;
}

void CPosixLocalFile::close() {
    if (m_fd >= 0) {
        // No retry on EINTR: the descriptor is released whatever close() reports.
        ::close(m_fd);
        m_fd = -1;
    }
}

bool CPosixLocalFile::write(const char* data, unsigned int length) {
    if (m_fd < 0) {
        return false;
    }
    unsigned int written = 0;
    while (written < length) {
        const ssize_t result = ::pwrite(m_fd, data + written, length - written,
                                        static_cast<off_t>(m_position + written));
        if (result < 0 && errno == EINTR) {
            continue;
        }
        if (result <= 0) {
            const int error = result < 0 ? errno : ENOSPC;
            VXT_LOG_ERROR("Local file: write of " << length << " bytes at " << m_position
                                                  << " failed: " << std::strerror(error));
            m_position += written;
            return false;
        }
        written += static_cast<unsigned int>(result);
    }
    m_position += written;
    return true;
}

bool CPosixLocalFile::read(char* data, unsigned int length, unsigned int* bytesRead) {
    if (m_fd < 0 || bytesRead == nullptr) {
        return false;
    }
    unsigned int total = 0;
    while (total < length) {
        const ssize_t result =
            ::pread(m_fd, data + total, length - total, static_cast<off_t>(m_position + total));
        if (result < 0 && errno == EINTR) {
            continue;
        }
        if (result < 0) {
            const int error = errno;
            VXT_LOG_ERROR("Local file: read of " << length << " bytes at " << m_position
                                                 << " failed: " << std::strerror(error));
            return false;
        }
        if (result == 0) {
            break;  // end of file
        }
        total += static_cast<unsigned int>(result);
    }
    m_position += total;
    *bytesRead = total;
    return true;
}

bool CPosixLocalFile::seek(unsigned long long position) {
    if (m_fd < 0 || position > static_cast<unsigned long long>(std::numeric_limits<off_t>::max())) {
        return false;
    }
    m_position = position;
    return true;
}

}  // namespace vx_transfers
