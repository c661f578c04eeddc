#pragma once

#include <stdexcept>

#include "memory/CSharedPtrDecorator.h"
#include "memory/CTransferBuffer.h"
#include "memory/CTransferBufferRef.h"

namespace vx_transfers {

// The buffers of one file's channels, all cut from one memory pool that exists only while the
// file is being transferred. Shared as Poco::SharedPtr<ITransferBufferManager>; thread-safe.
class ITransferBufferManager : public CSharedPtrDecorator<ITransferBufferManager> {
public:
    // Every buffer is held and the pool has no byte left; try again after a while.
    class CInsufficientMemoryException : public std::runtime_error {
    public:
        CInsufficientMemoryException()
            : std::runtime_error(
                  "Unable to allocate memory from memory pool, all memory is used up") {}
    };

    virtual ~ITransferBufferManager() = default;

    // Makes the pool, replacing an earlier one.
    virtual void allocateMemoryPool() = 0;
    virtual void deallocateMemoryPool() = 0;
    virtual bool isAllocated() = 0;
    // A buffer of at most `size` bytes (see getBuffer), given back when the guard ends.
    virtual CTransferBufferRef getBufferRef(unsigned long long size) = 0;
    // A buffer of at most `size` bytes, maybe smaller than asked for; must be given back with
    // releaseBuffer. Throws CInsufficientMemoryException when the pool is used up.
    virtual CTransferBuffer& getBuffer(unsigned long long size) = 0;
    virtual void releaseBuffer(CTransferBuffer& buffer) = 0;
    // The file's latest speed in bytes per second, which sizes later buffers.
    virtual void updateTransferSpeed(unsigned long long speed) = 0;
};

}  // namespace vx_transfers
