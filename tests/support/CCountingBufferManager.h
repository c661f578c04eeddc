// A buffer manager that hands out the buffers of a real one and watches them go by: how many
// are held, how often the pool was found dry. With the release gate closed, buffers that come
// back are held at the door (bounded: 10 seconds at most) until the test opens it, so a test
// can keep the pool full for as long as it needs.
#ifndef VXT_TESTS_SUPPORT_CCOUNTINGBUFFERMANAGER_H
#define VXT_TESTS_SUPPORT_CCOUNTINGBUFFERMANAGER_H

#include <Poco/SharedPtr.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "memory/ITransferBufferManager.h"

namespace vxt_test {

class CCountingBufferManager : public vx_transfers::ITransferBufferManager {
public:
    explicit CCountingBufferManager(Poco::SharedPtr<vx_transfers::ITransferBufferManager> real);

    void allocateMemoryPool() override { m_real->allocateMemoryPool(); }
    void deallocateMemoryPool() override { m_real->deallocateMemoryPool(); }
    bool isAllocated() override { return m_real->isAllocated(); }
    vx_transfers::CTransferBufferRef getBufferRef(unsigned long long size) override;
    vx_transfers::CTransferBuffer& getBuffer(unsigned long long size) override;
    void releaseBuffer(vx_transfers::CTransferBuffer& buffer) override;
    void updateTransferSpeed(unsigned long long speed) override;

    void closeReleaseGate();
    void openReleaseGate();

    int held() const;
    unsigned long long dryPoolCount() const;  // getBuffer calls that found no memory
    unsigned long long lastSpeed() const;
    struct Counters {
        int held = 0;
        unsigned long long dry = 0;
    };
    bool waitUntil(const std::function<bool(const Counters&)>& predicate,
                   std::chrono::milliseconds timeout) const;

private:
    Poco::SharedPtr<vx_transfers::ITransferBufferManager> m_real;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    int m_held = 0;
    unsigned long long m_dry = 0;
    unsigned long long m_speed = 0;
    bool m_gateClosed = false;
};

}  // namespace vxt_test

#endif
