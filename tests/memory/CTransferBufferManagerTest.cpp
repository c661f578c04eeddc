#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "memory/CBufferManagerFactory.h"
#include "memory/CTRansferBufferManagerDynamic.h"
#include "memory/CTransferBufferManagerStatic.h"

namespace vx_transfers {
namespace {

const unsigned long long kPool = CTransferBufferManagerBase::kPoolSize;

class CTransferBufferManagerTest : public ::testing::Test {
protected:
    void SetUp() override { m_manager.allocateMemoryPool(); }

    // A buffer of exactly `size` bytes, made by setting the speed that asks for it.
    CTransferBuffer& bufferOfSize(unsigned long long size) {
        m_manager.updateTransferSpeed(size * 2);
        return m_manager.getBuffer(~0ULL);
    }

    CTRansferBufferManagerDynamic m_manager;
};

TEST_F(CTransferBufferManagerTest, WithoutSpeedTheBufferHasTheDefaultSize) {
    EXPECT_EQ(51200u, m_manager.getBuffer(1000000).getSize());
}

TEST_F(CTransferBufferManagerTest, SmallRequestGetsASmallBuffer) {
    EXPECT_EQ(100u, m_manager.getBuffer(100).getSize());
}

TEST_F(CTransferBufferManagerTest, DesiredSizeIsHalfASecondOfTheSpeed) {
    m_manager.updateTransferSpeed(4000001);
    EXPECT_EQ(2000000u, m_manager.getDesiredBufferSize());
    m_manager.updateTransferSpeed(100000000);
    EXPECT_EQ(kPool, m_manager.getBuffer(~0ULL).getSize());
}

TEST_F(CTransferBufferManagerTest, FreeBufferWithinTenPercentIsReused) {
    struct Case {
        unsigned long long existing;
        bool reused;
    };
    // Wanted is 2,000,000: the tolerance is 200,000 and the test is strict.
    const Case cases[] = {
        {1900000, true}, {2100000, true}, {1800001, true}, {1800000, false}, {2200000, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.existing);
        m_manager.allocateMemoryPool();
        CTransferBuffer& old = bufferOfSize(c.existing);
        m_manager.releaseBuffer(old);
        m_manager.updateTransferSpeed(4000000);
        CTransferBuffer& next = m_manager.getBuffer(~0ULL);
        EXPECT_EQ(c.reused, &next == &old);
        EXPECT_EQ(c.reused ? c.existing : 2000000u, next.getSize());
        EXPECT_EQ(0u, next.getCommitedDataSize());
        m_manager.releaseBuffer(next);
    }
}

TEST_F(CTransferBufferManagerTest, ReleasedBufferComesBackEmpty) {
    CTransferBuffer& buffer = m_manager.getBuffer(1000);
    buffer.commitData(500);
    m_manager.releaseBuffer(buffer);
    m_manager.releaseBuffer(buffer);  // twice: harmless
    CTransferBuffer& again = m_manager.getBuffer(1000);
    EXPECT_EQ(&buffer, &again);
    EXPECT_EQ(0u, again.getCommitedDataSize());
}

TEST_F(CTransferBufferManagerTest, HeldBuffersAreNeverHandedOutTwice) {
    CTransferBuffer& first = m_manager.getBuffer(1000);
    CTransferBuffer& second = m_manager.getBuffer(1000);
    EXPECT_NE(&first, &second);
    EXPECT_NE(first.getRawPointer(), second.getRawPointer());
}

TEST_F(CTransferBufferManagerTest, IdleBuffersAreSacrificedInListOrderUntilTheWantedSizeFits) {
    const unsigned long long third = kPool / 3;  // 5 MiB: three fill the pool
    CTransferBuffer& a = bufferOfSize(third);
    CTransferBuffer& b = bufferOfSize(third);
    CTransferBuffer& c = bufferOfSize(third);
    char* aStart = a.getRawPointer();
    char* cStart = c.getRawPointer();
    m_manager.releaseBuffer(a);
    m_manager.releaseBuffer(b);
    m_manager.releaseBuffer(c);

    // 7 MiB needs the first two idle buffers gone; the third stays for reuse.
    CTransferBuffer& big = bufferOfSize(7 * 1024 * 1024);
    EXPECT_EQ(aStart, big.getRawPointer());
    EXPECT_EQ(7u * 1024 * 1024, big.getSize());
    CTransferBuffer& same = bufferOfSize(third);
    EXPECT_EQ(cStart, same.getRawPointer());
}

TEST_F(CTransferBufferManagerTest, SecondChannelGetsWhatIsLeftWhenTheWantedSizeDoesNotFit) {
    CTransferBuffer& small = m_manager.getBuffer(~0ULL);  // 51200 at the pool's start
    m_manager.updateTransferSpeed(100000000);
    CTransferBuffer& rest = m_manager.getBuffer(~0ULL);
    EXPECT_EQ(kPool - 51200, rest.getSize());
    EXPECT_EQ(small.getRawPointer() + 51200, rest.getRawPointer());
}

TEST_F(CTransferBufferManagerTest, ExhaustedPoolThrowsUntilABufferComesBack) {
    m_manager.updateTransferSpeed(kPool);  // halves of the pool
    CTransferBuffer& a = m_manager.getBuffer(~0ULL);
    CTransferBuffer& b = m_manager.getBuffer(~0ULL);
    EXPECT_EQ(kPool / 2, a.getSize());
    EXPECT_EQ(kPool / 2, b.getSize());
    EXPECT_THROW(m_manager.getBuffer(~0ULL), ITransferBufferManager::CInsufficientMemoryException);
    m_manager.releaseBuffer(b);
    EXPECT_EQ(&b, &m_manager.getBuffer(~0ULL));
}

TEST_F(CTransferBufferManagerTest, BufferRefGivesTheBufferBackWhenItEnds) {
    m_manager.updateTransferSpeed(kPool * 2);
    CTransferBuffer* seen = nullptr;
    {
        CTransferBufferRef ref = m_manager.getBufferRef(kPool);
        seen = ref.get();
        EXPECT_EQ(kPool, ref->getSize());
        EXPECT_THROW(m_manager.getBuffer(1), ITransferBufferManager::CInsufficientMemoryException);
    }
    // The moved-into guard released it exactly once and it is reused whole.
    EXPECT_EQ(seen, &m_manager.getBuffer(kPool));
}

TEST_F(CTransferBufferManagerTest, NoBufferIsHandedOutWithoutAPool) {
    m_manager.deallocateMemoryPool();
    EXPECT_FALSE(m_manager.isAllocated());
    EXPECT_THROW(m_manager.getBuffer(10), ITransferBufferManager::CInsufficientMemoryException);
}

TEST_F(CTransferBufferManagerTest, DescriptorsOfADeallocatedPoolAreNeverHandedOutAgain) {
    CTransferBuffer& held = m_manager.getBuffer(1000);
    CTransferBuffer& idle = m_manager.getBuffer(1000);
    m_manager.releaseBuffer(idle);
    m_manager.deallocateMemoryPool();

    // A channel that still runs may go on using its buffer until it gives it back.
    std::memset(held.getRawPointer(), 0x5a, held.getSize());

    m_manager.allocateMemoryPool();
    EXPECT_TRUE(m_manager.isAllocated());
    CTransferBuffer& fresh = m_manager.getBuffer(1000);
    EXPECT_NE(&fresh, &held);
    EXPECT_NE(&fresh, &idle);
    m_manager.releaseBuffer(held);  // goes with its old pool, not into the new list
    CTransferBuffer& next = m_manager.getBuffer(1000);
    EXPECT_NE(&next, &held);
}

TEST(CTransferBufferManagerStaticTest, ConfiguredSizeIsBoundedByThePoolAndTheRequest) {
    CTransferBufferManagerStatic manager(kPool * 4);
    manager.allocateMemoryPool();
    manager.updateTransferSpeed(1000);  // ignored by a static manager
    EXPECT_EQ(1000u, manager.getBuffer(1000).getSize());
    EXPECT_EQ(kPool - 1000, manager.getBuffer(~0ULL).getSize());
}

TEST(CBufferManagerFactoryTest, ZeroGivesADynamicManagerAndAnythingElseAStaticOne) {
    std::unique_ptr<ITransferBufferManager> dynamic(CBufferManagerFactory::createBufferManager(0));
    std::unique_ptr<ITransferBufferManager> fixed(CBufferManagerFactory::createBufferManager(4096));
    EXPECT_NE(nullptr, dynamic_cast<CTRansferBufferManagerDynamic*>(dynamic.get()));
    auto* staticManager = dynamic_cast<CTransferBufferManagerStatic*>(fixed.get());
    ASSERT_NE(nullptr, staticManager);
    EXPECT_EQ(4096u, staticManager->getDesiredBufferSize());
    EXPECT_FALSE(fixed->isAllocated());
}

TEST(CTransferBufferManagerConcurrencyTest, ThreadsNeverShareMemory) {
    CTransferBufferManagerStatic manager(512 * 1024);
    manager.allocateMemoryPool();
    std::vector<std::thread> threads;
    std::vector<int> corrupted(6, 0);
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&manager, &corrupted, t] {
            for (int round = 0; round < 300; ++round) {
                try {
                    CTransferBufferRef ref =
                        manager.getBufferRef(static_cast<unsigned long long>(1000 + round * 997));
                    const char mark = static_cast<char>('a' + t);
                    std::memset(ref->getRawPointer(), mark, ref->getSize());
                    std::this_thread::yield();
                    for (unsigned long long i = 0; i < ref->getSize(); ++i) {
                        if (ref->getRawPointer()[i] != mark) {
                            corrupted[t] = 1;
                            break;
                        }
                    }
                } catch (const ITransferBufferManager::CInsufficientMemoryException&) {
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < 6; ++t) {
        EXPECT_EQ(0, corrupted[t]) << "thread " << t;
    }
}

}  // namespace
}  // namespace vx_transfers
