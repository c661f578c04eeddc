#pragma once

#include <stdexcept>
#include <string>

namespace vx_transfers {

// A view of a piece of pool memory with a fill mark: a hook writes behind the mark and commits
// what it wrote, the other hook reads the committed bytes. The memory is not owned.
class CTransferBuffer {
public:
    class CBufferOverflowException : public std::runtime_error {
    public:
        CBufferOverflowException(unsigned long long actualSize, unsigned long long committedSize);
        static std::string msg(unsigned long long actualSize, unsigned long long committedSize);
    };

    CTransferBuffer(char* data, unsigned long long size);
    virtual ~CTransferBuffer() = default;

    unsigned long long getSize() const { return m_size; }
    unsigned long long getCommitedDataSize() const { return m_committedSize; }
    char* getRawPointer() const { return m_data; }

    // The first byte behind the committed data, with the room left in `freeSize`; null, and
    // `freeSize` untouched, when the buffer is full.
    char* getPointerForWriting(unsigned long long& freeSize);
    // Throws CBufferOverflowException when `length` does not fit behind the committed data.
    void commitData(unsigned long long length);
    void discardAllData() { m_committedSize = 0; }

private:
    char* m_data;
    unsigned long long m_size;
    unsigned long long m_committedSize;
};

}  // namespace vx_transfers
