#pragma once

#include <list>

namespace vx_transfers {

// First-fit allocator over one block taken from the heap at construction, so that the memory of
// a transfer has a hard ceiling whatever the number of channels and the speed. Free space is not
// stored: the gaps between the used blocks (kept sorted by address) are the free blocks, so a
// release merges neighbouring gaps by itself. Not thread-safe: its owner calls it under a lock.
class CMemoryManager {
public:
    struct MemoryBlock {
        char* pointer;
        unsigned long long size;
    };

    // Throws std::bad_alloc when the pool cannot be had.
    explicit CMemoryManager(unsigned long long size);
    ~CMemoryManager();

    CMemoryManager(const CMemoryManager&) = delete;
    CMemoryManager& operator=(const CMemoryManager&) = delete;

    // A block of exactly `size` bytes at the lowest address that has room; null if none has.
    char* get(unsigned long long size);
    // The largest gap, all of it (the first one on a tie); `size` receives its length. Null,
    // and `size` untouched, when there is no gap of at least one byte.
    char* getAsMuchAsPossible(unsigned long long& size);
    // Gives a block back; a pointer that does not start a used block is ignored.
    void release(const char* pointer);

private:
    using BlockIterator = std::list<MemoryBlock>::iterator;

    bool allocateInternal(unsigned long long size, MemoryBlock& block);
    // The first gap at or after `start` (the end iterator means: from the front of the pool);
    // `previous` receives the used block in front of the gap, or the end iterator.
    bool getNextFreeMemoryBlock(BlockIterator start, BlockIterator& previous, MemoryBlock& block);
    // Whether the gap behind `previous` is the last one the pool can have.
    bool isLastGap(BlockIterator previous);
    // Where the search for the gap behind `previous` goes on.
    BlockIterator nextSearchStart(BlockIterator previous);
    void insertUsed(BlockIterator previous, const MemoryBlock& block);

    char* m_pool;
    unsigned long long m_poolSize;
    std::list<MemoryBlock> m_usedBlocks;
};

}  // namespace vx_transfers
