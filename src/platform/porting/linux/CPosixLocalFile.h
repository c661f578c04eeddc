#pragma once

#include "platform/porting/ILocalFile.h"

namespace vx_transfers {

// ILocalFile over a POSIX descriptor. Reads and writes go through pread/pwrite at a position
// kept here, so objects on the same path never disturb each other's offsets.
class CPosixLocalFile : public ILocalFile {
public:
    CPosixLocalFile() = default;
    ~CPosixLocalFile() override;

    bool open(const std::string& path, int mode) override;
    void close() override;
    bool write(const char* data, unsigned int length) override;
    bool read(char* data, unsigned int length, unsigned int* bytesRead) override;
    bool seek(unsigned long long position) override;

    CPosixLocalFile(const CPosixLocalFile&) = delete;
    CPosixLocalFile& operator=(const CPosixLocalFile&) = delete;

private:
    int m_fd = -1;
    unsigned long long m_position = 0;
};

}  // namespace vx_transfers
