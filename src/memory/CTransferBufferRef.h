#pragma once

namespace vx_transfers {

class CTransferBuffer;
class ITransferBufferManager;

// Scope guard around a buffer borrowed from a buffer manager: the buffer goes back to the
// manager when the guard ends. Movable, so that a manager can hand it out by value; the
// moved-from guard gives nothing back.
class CTransferBufferRef {
public:
    CTransferBufferRef(ITransferBufferManager* manager, CTransferBuffer& buffer);
    CTransferBufferRef(CTransferBufferRef&& other) noexcept;
    CTransferBufferRef& operator=(CTransferBufferRef&& other) noexcept;
    ~CTransferBufferRef();

    CTransferBufferRef(const CTransferBufferRef&) = delete;
    CTransferBufferRef& operator=(const CTransferBufferRef&) = delete;

    CTransferBuffer* operator->() const { return m_buffer; }
    CTransferBuffer* get() const { return m_buffer; }

    // Gives the buffer back now; the guard is empty afterwards.
    void release();

private:
    CTransferBuffer* m_buffer;
    ITransferBufferManager* m_manager;
};

}  // namespace vx_transfers
