#include <gtest/gtest.h>

#include <string>

#include "memory/CTransferBuffer.h"

namespace vx_transfers {
namespace {

TEST(CTransferBufferTest, WritingPointerFollowsTheCommittedData) {
    char memory[100];
    CTransferBuffer buffer(memory, sizeof(memory));
    unsigned long long room = 0;
    EXPECT_EQ(memory, buffer.getPointerForWriting(room));
    EXPECT_EQ(100u, room);
    buffer.commitData(30);
    EXPECT_EQ(memory + 30, buffer.getPointerForWriting(room));
    EXPECT_EQ(70u, room);
    buffer.commitData(70);
    room = 5;
    EXPECT_EQ(nullptr, buffer.getPointerForWriting(room));
    EXPECT_EQ(5u, room);
    buffer.discardAllData();
    EXPECT_EQ(0u, buffer.getCommitedDataSize());
    EXPECT_EQ(memory, buffer.getPointerForWriting(room));
}

TEST(CTransferBufferTest, OverflowThrowsAndKeepsTheMark) {
    char memory[100];
    CTransferBuffer buffer(memory, sizeof(memory));
    buffer.commitData(60);
    try {
        buffer.commitData(41);
        FAIL() << "no exception";
    } catch (const CTransferBuffer::CBufferOverflowException& e) {
        EXPECT_EQ(std::string("Buffer overflow. Actual buffer size: 100, committed size: 101"),
                  e.what());
    }
    EXPECT_EQ(60u, buffer.getCommitedDataSize());
    EXPECT_THROW(buffer.commitData(~0ULL), CTransferBuffer::CBufferOverflowException);
}

}  // namespace
}  // namespace vx_transfers
