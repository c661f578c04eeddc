#include <gtest/gtest.h>

#include "memory/CMemoryManager.h"

namespace vx_transfers {
namespace {

class CMemoryManagerTest : public ::testing::Test {
protected:
    static constexpr unsigned long long kPool = 1000;
    CMemoryManager m_memory{kPool};

    // The pool's start, learnt from the first allocation of an empty pool.
    char* poolStart() {
        char* start = m_memory.get(0);
        m_memory.release(start);
        return start;
    }
};

TEST_F(CMemoryManagerTest, WholePoolFitsAndOneByteMoreDoesNot) {
    EXPECT_EQ(nullptr, m_memory.get(kPool + 1));
    char* all = m_memory.get(kPool);
    ASSERT_NE(nullptr, all);
    EXPECT_EQ(nullptr, m_memory.get(1));
}

TEST_F(CMemoryManagerTest, BlocksAreCutInAddressOrderFromThePoolStart) {
    char* start = poolStart();
    char* a = m_memory.get(100);
    char* b = m_memory.get(200);
    char* c = m_memory.get(300);
    EXPECT_EQ(start, a);
    EXPECT_EQ(start + 100, b);
    EXPECT_EQ(start + 300, c);
}

TEST_F(CMemoryManagerTest, FirstFitReusesTheLowestGapThatIsBigEnough) {
    m_memory.get(100);
    char* b = m_memory.get(200);
    char* c = m_memory.get(300);
    ASSERT_NE(nullptr, c);
    m_memory.release(b);
    // Smaller than the hole left by B: goes into it, not behind C.
    EXPECT_EQ(b, m_memory.get(150));
    // Bigger than what is left of the hole (50 bytes): goes behind C.
    EXPECT_EQ(c + 300, m_memory.get(60));
    // What is left of B's hole is still found for something that fits.
    EXPECT_EQ(b + 150, m_memory.get(50));
}

TEST_F(CMemoryManagerTest, NeighbouringGapsMergeAfterRelease) {
    char* a = m_memory.get(100);
    char* b = m_memory.get(100);
    char* c = m_memory.get(100);
    m_memory.get(700);  // pool full
    m_memory.release(a);
    m_memory.release(c);
    EXPECT_EQ(nullptr, m_memory.get(200));  // two gaps of 100, not adjacent
    m_memory.release(b);
    EXPECT_EQ(a, m_memory.get(300));  // the three merged
}

TEST_F(CMemoryManagerTest, AfterEverythingIsReleasedAllocationStartsAtThePoolStart) {
    char* start = poolStart();
    char* a = m_memory.get(400);
    char* b = m_memory.get(400);
    m_memory.release(a);
    m_memory.release(b);
    EXPECT_EQ(start, m_memory.get(10));
}

TEST_F(CMemoryManagerTest, ZeroSizeRequestGivesTheGapStart) {
    char* a = m_memory.get(100);
    EXPECT_EQ(a + 100, m_memory.get(0));
    // The empty block takes no room.
    EXPECT_EQ(a + 100, m_memory.get(900));
}

TEST_F(CMemoryManagerTest, ReleaseOfUnknownOrInteriorPointerChangesNothing) {
    char* a = m_memory.get(kPool);
    m_memory.release(a + 10);
    m_memory.release(nullptr);
    EXPECT_EQ(nullptr, m_memory.get(1));
    m_memory.release(a);
    EXPECT_EQ(a, m_memory.get(1));
}

TEST_F(CMemoryManagerTest, AsMuchAsPossibleTakesTheLargestGapAndTheFirstOnATie) {
    char* start = poolStart();
    char* blocks[5];
    for (char*& block : blocks) {
        block = m_memory.get(200);
    }
    // Gaps: 200 at 0, 400 at 400..800; then a tie.
    m_memory.release(blocks[0]);
    m_memory.release(blocks[2]);
    m_memory.release(blocks[3]);
    unsigned long long size = 0;
    EXPECT_EQ(start + 400, m_memory.getAsMuchAsPossible(size));
    EXPECT_EQ(400u, size);

    m_memory.release(blocks[4]);  // gaps: 200 at 0, 200 at 800
    EXPECT_EQ(start, m_memory.getAsMuchAsPossible(size));
    EXPECT_EQ(200u, size);
    EXPECT_EQ(start + 800, m_memory.getAsMuchAsPossible(size));
    EXPECT_EQ(200u, size);
}

TEST_F(CMemoryManagerTest, AsMuchAsPossibleOnAFullPoolLeavesSizeAlone) {
    m_memory.get(kPool);
    unsigned long long size = 12345;
    EXPECT_EQ(nullptr, m_memory.getAsMuchAsPossible(size));
    EXPECT_EQ(12345u, size);
}

TEST_F(CMemoryManagerTest, AsMuchAsPossibleOnAnEmptyPoolTakesItAll) {
    unsigned long long size = 0;
    char* all = m_memory.getAsMuchAsPossible(size);
    ASSERT_NE(nullptr, all);
    EXPECT_EQ(kPool, size);
    EXPECT_EQ(nullptr, m_memory.get(1));
}

}  // namespace
}  // namespace vx_transfers
