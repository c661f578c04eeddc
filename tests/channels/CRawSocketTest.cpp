#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "channels/CRawSocket.h"
#include "channels/wait_on_socket.h"

namespace vx_transfers {
namespace {

class CRawSocketTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, m_fds)); }
    void TearDown() override {
        ::close(m_fds[0]);
        ::close(m_fds[1]);
    }
    int m_fds[2] = {-1, -1};
};

TEST_F(CRawSocketTest, WaitSeesWritableAtOnceAndReadableOnlyAfterData) {
    EXPECT_GT(wait_on_socket(m_fds[0], 0, 1000), 0);
    EXPECT_EQ(0, wait_on_socket(m_fds[0], 1, 20));
    ASSERT_EQ(1, ::write(m_fds[1], "x", 1));
    EXPECT_GT(wait_on_socket(m_fds[0], 1, 1000), 0);
}

TEST_F(CRawSocketTest, WaitReportsAClosedPeerAsReadable) {
    ::close(m_fds[1]);
    m_fds[1] = -1;
    EXPECT_GT(wait_on_socket(m_fds[0], 1, 1000), 0);
}

TEST_F(CRawSocketTest, WaitAvailableMapsReadinessToResults) {
    CRawSocket socket(m_fds[0]);
    EXPECT_EQ(DT_SUCCESS, socket.waitAvailable(CRawSocket::SOCKET_WRITABLE, 1000));
    EXPECT_EQ(DT_FAILURE, socket.waitAvailable(CRawSocket::SOCKET_READABLE, 20));
    EXPECT_EQ(DT_INVALID_ARGUMENT,
              socket.waitAvailable(static_cast<CRawSocket::SocketAvailabilityType>(2), 20));
    EXPECT_EQ(DT_SUCCESS, socket.setOption(CRawSocket::SOCKET_OPTION_NONE, 1));
}

}  // namespace
}  // namespace vx_transfers
