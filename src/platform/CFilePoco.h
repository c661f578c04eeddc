#pragma once

#include <fstream>
#include <string>

#include "vx_transfers/IFile.h"

namespace vx_transfers {

// IFile over a std::fstream. Poco's FileStream would open every file read-write and create
// it, so a read-only file could not be read and a read of a missing file would create it.
class CFilePoco : public IFile {
public:
    explicit CFilePoco(const std::string& path);
    ~CFilePoco() override;

    bool open(OpenMode mode) override;
    void close() override;
    int read(std::vector<char>& buffer, unsigned int size, unsigned int& bytesRead) override;
    int write(const std::vector<char>& buffer) override;
    bool remove() override;
    bool isEndOfFile() override;
    unsigned long long getSize() override;

private:
    std::string m_path;
    std::fstream m_stream;
    bool m_isOpen = false;  // stays set after close(), so that an object opens once
};

}  // namespace vx_transfers
