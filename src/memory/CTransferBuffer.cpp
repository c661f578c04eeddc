#include "memory/CTransferBuffer.h"

#include <sstream>

namespace vx_transfers {

CTransferBuffer::CBufferOverflowException::CBufferOverflowException(
    unsigned long long actualSize, unsigned long long committedSize)
    : std::runtime_error(msg(actualSize, committedSize)) {}

std::string CTransferBuffer::CBufferOverflowException::msg(unsigned long long actualSize,
                                                           unsigned long long committedSize) {
    std::ostringstream text;
    text << "Buffer overflow. Actual buffer size: " << actualSize
         << ", committed size: " << committedSize;
    return text.str();
}

CTransferBuffer::CTransferBuffer(char* data, unsigned long long size)
    : m_data(data), m_size(size), m_committedSize(0) {}

char* CTransferBuffer::getPointerForWriting(unsigned long long& freeSize) {
    if (m_committedSize >= m_size) {
        return nullptr;
    }
    freeSize = m_size - m_committedSize;
    return m_data + m_committedSize;
}

void CTransferBuffer::commitData(unsigned long long length) {
    // Written so that a huge `length` cannot wrap around the sum.
    if (length > m_size - m_committedSize) {
        throw CBufferOverflowException(m_size, m_committedSize + length);
    }
    m_committedSize += length;
}

}  // namespace vx_transfers
