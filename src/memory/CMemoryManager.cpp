#include "memory/CMemoryManager.h"

#include <iterator>

#include "platform/Log.h"

namespace vx_transfers {

CMemoryManager::CMemoryManager(unsigned long long size)
    : m_pool(new char[size]), m_poolSize(size) {}

CMemoryManager::~CMemoryManager() { delete[] m_pool; }

char* CMemoryManager::get(unsigned long long size) {
    MemoryBlock block{nullptr, 0};
    return allocateInternal(size, block) ? block.pointer : nullptr;
}

char* CMemoryManager::getAsMuchAsPossible(unsigned long long& size) {
    BlockIterator previous = m_usedBlocks.end();
    MemoryBlock gap{nullptr, 0};
    bool found = getNextFreeMemoryBlock(m_usedBlocks.end(), previous, gap);
    BlockIterator bestPrevious = m_usedBlocks.end();
    MemoryBlock best{nullptr, 0};
    while (found) {
        // Strictly greater, so that on a tie the gap at the lower address stays.
        if (gap.size > best.size) {
            best = gap;
            bestPrevious = previous;
        }
        if (isLastGap(previous)) {
            break;
        }
        found = getNextFreeMemoryBlock(nextSearchStart(previous), previous, gap);
    }
    if (best.size == 0) {
        return nullptr;
    }
    insertUsed(bestPrevious, best);
    size = best.size;
    return best.pointer;
}

void CMemoryManager::release(const char* pointer) {
    if (pointer == nullptr) {
        VXT_LOG_ERROR("Incorrect block pointer passed to "
                      << "release");
        return;
    }
    for (BlockIterator it = m_usedBlocks.begin(); it != m_usedBlocks.end(); ++it) {
        if (it->pointer == pointer) {
            m_usedBlocks.erase(it);
            return;
        }
    }
}

bool CMemoryManager::allocateInternal(unsigned long long size, MemoryBlock& block) {
    if (size > m_poolSize) {
        VXT_LOG_ERROR("Too big memory block requested. Requested size: "
                      << size << ", full memory pool size: " << m_poolSize);
        return false;
    }
    BlockIterator previous = m_usedBlocks.end();
    MemoryBlock gap{nullptr, 0};
    if (!getNextFreeMemoryBlock(m_usedBlocks.end(), previous, gap)) {
        return false;
    }
    while (gap.size < size) {
        if (isLastGap(previous)) {
            return false;
        }
        if (!getNextFreeMemoryBlock(nextSearchStart(previous), previous, gap)) {
            return false;
        }
    }
    block.pointer = gap.pointer;
    block.size = size;
    insertUsed(previous, block);
    return true;
}

bool CMemoryManager::getNextFreeMemoryBlock(BlockIterator start, BlockIterator& previous,
                                            MemoryBlock& block) {
    char* const poolEnd = m_pool + m_poolSize;
    if (start == m_usedBlocks.end()) {
        if (m_usedBlocks.empty()) {
            block.pointer = m_pool;
            block.size = m_poolSize;
            previous = m_usedBlocks.end();
            return true;
        }
        BlockIterator first = m_usedBlocks.begin();
        if (first->pointer != m_pool) {
            block.pointer = m_pool;
            block.size = static_cast<unsigned long long>(first->pointer - m_pool);
            previous = m_usedBlocks.end();
            return true;
        }
        start = first;
    }
    for (BlockIterator current = start; current != m_usedBlocks.end(); ++current) {
        char* const currentEnd = current->pointer + current->size;
        BlockIterator next = std::next(current);
        char* const nextStart = next == m_usedBlocks.end() ? poolEnd : next->pointer;
        if (currentEnd != nextStart) {
            block.pointer = currentEnd;
            block.size = static_cast<unsigned long long>(nextStart - currentEnd);
            previous = current;
            return true;
        }
    }
    return false;
}

bool CMemoryManager::isLastGap(BlockIterator previous) {
    if (previous == m_usedBlocks.end()) {
        return m_usedBlocks.empty();
    }
    return std::next(previous) == m_usedBlocks.end();
}

CMemoryManager::BlockIterator CMemoryManager::nextSearchStart(BlockIterator previous) {
    return previous == m_usedBlocks.end() ? m_usedBlocks.begin() : std::next(previous);
}

void CMemoryManager::insertUsed(BlockIterator previous, const MemoryBlock& block) {
    if (previous == m_usedBlocks.end()) {
        m_usedBlocks.push_front(block);
    } else {
        m_usedBlocks.insert(std::next(previous), block);
    }
}

}  // namespace vx_transfers
