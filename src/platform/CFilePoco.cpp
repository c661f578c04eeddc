#include "platform/CFilePoco.h"

#include <Poco/File.h>

#include <exception>
#include <new>

namespace vx_transfers {

IFile::~IFile() = default;

IFile* IFile::create(const std::string& path) { return new (std::nothrow) CFilePoco(path); }

void IFile::destroy(IFile* file) { delete file; }

CFilePoco::CFilePoco(const std::string& path) : m_path(path) {}

CFilePoco::~CFilePoco() {
    if (m_isOpen) {
        close();
    }
}

bool CFilePoco::open(OpenMode mode) {
    if (m_isOpen) {
        return false;
    }
    const std::ios::openmode openMode = mode == OPEN_READ
                                            ? std::ios::in | std::ios::binary
                                            : std::ios::out | std::ios::trunc | std::ios::binary;
    try {
        m_stream.open(m_path, openMode);
        m_isOpen = m_stream.is_open();
    } catch (const std::exception&) {
        m_isOpen = false;
    }
    return m_isOpen;
}

void CFilePoco::close() {
    if (m_isOpen) {
        try {
            m_stream.close();
        } catch (const std::exception&) {
            // Nothing more can be done with a stream that fails to flush.
        }
    }
}

int CFilePoco::read(std::vector<char>& buffer, unsigned int size, unsigned int& bytesRead) {
    if (buffer.size() < size) {
        return RESULT_BUFFER_TOO_SMALL;
    }
    if (size == 0) {
        return RESULT_NOTHING_TO_DO;
    }
    if (!m_isOpen) {
        return RESULT_NOT_OPEN;
    }
    m_stream.read(buffer.data(), size);
    if (!m_stream.eof() && !m_stream.good()) {
        return RESULT_STREAM_FAILED;
    }
    bytesRead = static_cast<unsigned int>(m_stream.gcount());
    return RESULT_OK;
}

int CFilePoco::write(const std::vector<char>& buffer) {
    if (!m_isOpen) {
        return RESULT_NOT_OPEN;
    }
    if (buffer.empty()) {
        return RESULT_NOTHING_TO_DO;
    }
    m_stream.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    return m_stream.rdstate() != std::ios::goodbit ? RESULT_STREAM_FAILED : RESULT_OK;
}

bool CFilePoco::remove() {
    try {
        Poco::File file(m_path);
        file.remove(false);
        return !file.exists();
    } catch (const std::exception&) {
        return false;
    }
}

bool CFilePoco::isEndOfFile() { return m_isOpen && m_stream.eof(); }

unsigned long long CFilePoco::getSize() {
    try {
        return Poco::File(m_path).getSize();
    } catch (const std::exception&) {
        return 0;
    }
}

}  // namespace vx_transfers
