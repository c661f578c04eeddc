#pragma once

#include <Poco/Mutex.h>
#include <Poco/SharedPtr.h>

#include <atomic>
#include <list>
#include <memory>

#include "memory/CMemoryManager.h"
#include "memory/ITransferBufferManager.h"

namespace vx_transfers {

// Buffers cut from a pool of 15 MiB and kept for reuse while their size stays within 10 percent
// of what is wanted; when the pool runs short, idle buffers of other sizes are given back to it
// one at a time before the manager settles for whatever gap is left. The wanted size comes from
// the derived class.
class CTransferBufferManagerBase : public ITransferBufferManager {
public:
    static constexpr unsigned long long kPoolSize = 15728640;
    // A free buffer fits when its size differs from the wanted one by less than this share.
    static constexpr unsigned long long kAcceptableRangePercent = 10;

    class BufferDesc : public CTransferBuffer {
    public:
        BufferDesc(char* data, unsigned long long size) : CTransferBuffer(data, size) {}
        bool free = false;
    };

    CTransferBufferManagerBase();
    ~CTransferBufferManagerBase() override;

    void allocateMemoryPool() override;
    void deallocateMemoryPool() override;
    bool isAllocated() override;
    CTransferBufferRef getBufferRef(unsigned long long size) override;
    CTransferBuffer& getBuffer(unsigned long long size) override;
    void releaseBuffer(CTransferBuffer& buffer) override;
    void updateTransferSpeed(unsigned long long speed) override;
    unsigned long long getLastTransferSpeed();

    // Called with the mutex held.
    virtual unsigned long long getDesiredBufferSize() = 0;

private:
    using BufferList = std::list<Poco::SharedPtr<BufferDesc>>;

    // A pool that was deallocated or replaced while channels still held buffers of it: it
    // lives on until the last of them comes back, so that no channel writes into freed memory.
    struct RetiredPool {
        std::unique_ptr<CMemoryManager> memory;
        BufferList heldBuffers;
    };

    BufferList::iterator getBufferWithSizeInAcceptableRange(unsigned long long size);
    BufferList::iterator getFirstAvailable();
    void releaseBuffer(BufferList::iterator buffer);
    // Drops the free buffers with the pool and parks the held ones with it.
    void retirePoolNoLock();
    bool releaseRetiredBufferNoLock(const CTransferBuffer* buffer);

    Poco::FastMutex m_mutex;
    BufferList m_buffers;
    std::unique_ptr<CMemoryManager> m_memory;
    std::atomic<unsigned long long> m_lastTransferSpeed;
    std::atomic<bool> m_allocated;
    std::list<RetiredPool> m_retiredPools;
};

}  // namespace vx_transfers
