#include "memory/CTransferBufferManagerBase.h"

#include <algorithm>

#include "platform/Log.h"

namespace vx_transfers {

CTransferBufferManagerBase::CTransferBufferManagerBase()
    : m_lastTransferSpeed(0), m_allocated(false) {}

CTransferBufferManagerBase::~CTransferBufferManagerBase() = default;

void CTransferBufferManagerBase::allocateMemoryPool() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    retirePoolNoLock();
    m_memory.reset(new CMemoryManager(kPoolSize));
    m_allocated = true;
}

void CTransferBufferManagerBase::deallocateMemoryPool() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    retirePoolNoLock();
}

bool CTransferBufferManagerBase::isAllocated() { return m_allocated; }

CTransferBufferRef CTransferBufferManagerBase::getBufferRef(unsigned long long size) {
    return CTransferBufferRef(this, getBuffer(size));
}

CTransferBuffer& CTransferBufferManagerBase::getBuffer(unsigned long long size) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (!m_memory) {
        // A file gives its pool up when one of its channels fails, while the others still run
        // until they are stopped: they wait here as if memory had run out.
        VXT_LOG_ERROR("Buffer Manager: no memory pool allocated, unable to give a buffer");
        throw CInsufficientMemoryException();
    }
    const unsigned long long wanted = std::min({getDesiredBufferSize(), kPoolSize, size});

    BufferList::iterator reusable = getBufferWithSizeInAcceptableRange(wanted);
    if (reusable != m_buffers.end()) {
        (*reusable)->free = false;
        return **reusable;
    }

    unsigned long long got = wanted;
    char* memory = m_memory->get(wanted);
    while (memory == nullptr) {
        BufferList::iterator idle = getFirstAvailable();
        if (idle != m_buffers.end()) {
            releaseBuffer(idle);
            memory = m_memory->get(wanted);
            continue;
        }
        memory = m_memory->getAsMuchAsPossible(got);
        if (memory == nullptr) {
            VXT_LOG_ERROR(
                "Buffer Manager: Unable to retrieve at least some memory of the memory pool, all "
                "memory is used up!");
            throw CInsufficientMemoryException();
        }
    }
    Poco::SharedPtr<BufferDesc> buffer(new BufferDesc(memory, got));
    m_buffers.push_back(buffer);
    return *buffer;
}

void CTransferBufferManagerBase::releaseBuffer(CTransferBuffer& buffer) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (releaseRetiredBufferNoLock(&buffer)) {
        return;
    }
    if (m_buffers.empty()) {
        VXT_LOG_ERROR("releaseBuffer"
                      << " called, but buffers list is empty!");
        return;
    }
    for (Poco::SharedPtr<BufferDesc>& desc : m_buffers) {
        if (desc.get() == &buffer) {
            desc->discardAllData();
            desc->free = true;
            return;
        }
    }
    VXT_LOG_ERROR("Buffer passed to "
                  << "releaseBuffer"
                  << " not found in buffers list!");
}

void CTransferBufferManagerBase::updateTransferSpeed(unsigned long long speed) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_lastTransferSpeed = speed;
}

unsigned long long CTransferBufferManagerBase::getLastTransferSpeed() {
    return m_lastTransferSpeed;
}

CTransferBufferManagerBase::BufferList::iterator
CTransferBufferManagerBase::getBufferWithSizeInAcceptableRange(unsigned long long size) {
    const unsigned long long tolerance = size * kAcceptableRangePercent / 100;
    return std::find_if(m_buffers.begin(), m_buffers.end(),
                        [size, tolerance](const Poco::SharedPtr<BufferDesc>& desc) {
                            const unsigned long long have = desc->getSize();
                            const unsigned long long difference =
                                have > size ? have - size : size - have;
                            return desc->free && difference < tolerance;
                        });
}

CTransferBufferManagerBase::BufferList::iterator CTransferBufferManagerBase::getFirstAvailable() {
    return std::find_if(m_buffers.begin(), m_buffers.end(),
                        [](const Poco::SharedPtr<BufferDesc>& desc) { return desc->free; });
}

void CTransferBufferManagerBase::releaseBuffer(BufferList::iterator buffer) {
    if (buffer != m_buffers.end()) {
        m_memory->release((*buffer)->getRawPointer());
        m_buffers.erase(buffer);
    }
}

void CTransferBufferManagerBase::retirePoolNoLock() {
    m_allocated = false;
    if (!m_memory) {
        m_buffers.clear();
        return;
    }
    RetiredPool retired;
    for (Poco::SharedPtr<BufferDesc>& desc : m_buffers) {
        if (!desc->free) {
            retired.heldBuffers.push_back(desc);
        }
    }
    m_buffers.clear();
    if (retired.heldBuffers.empty()) {
        m_memory.reset();
        return;
    }
    VXT_LOG_WARNING("Buffer Manager: memory pool released while "
                    << retired.heldBuffers.size()
                    << " buffers are in use; it is kept until they come back");
    retired.memory = std::move(m_memory);
    m_retiredPools.push_back(std::move(retired));
}

bool CTransferBufferManagerBase::releaseRetiredBufferNoLock(const CTransferBuffer* buffer) {
    for (auto pool = m_retiredPools.begin(); pool != m_retiredPools.end(); ++pool) {
        for (auto desc = pool->heldBuffers.begin(); desc != pool->heldBuffers.end(); ++desc) {
            if (desc->get() == buffer) {
                pool->heldBuffers.erase(desc);
                if (pool->heldBuffers.empty()) {
                    m_retiredPools.erase(pool);
                }
                return true;
            }
        }
    }
    return false;
}

}  // namespace vx_transfers
