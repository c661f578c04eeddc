#include "memory/CTransferBufferRef.h"

#include "memory/ITransferBufferManager.h"

namespace vx_transfers {

CTransferBufferRef::CTransferBufferRef(ITransferBufferManager* manager, CTransferBuffer& buffer)
    : m_buffer(&buffer), m_manager(manager) {}

CTransferBufferRef::CTransferBufferRef(CTransferBufferRef&& other) noexcept
    : m_buffer(other.m_buffer), m_manager(other.m_manager) {
    other.m_manager = nullptr;
}

CTransferBufferRef& CTransferBufferRef::operator=(CTransferBufferRef&& other) noexcept {
    if (this != &other) {
        release();
        m_buffer = other.m_buffer;
        m_manager = other.m_manager;
        other.m_manager = nullptr;
    }
    return *this;
}

CTransferBufferRef::~CTransferBufferRef() { release(); }

void CTransferBufferRef::release() {
    if (m_manager != nullptr) {
        ITransferBufferManager* manager = m_manager;
        m_manager = nullptr;
        manager->releaseBuffer(*m_buffer);
    }
}

}  // namespace vx_transfers
