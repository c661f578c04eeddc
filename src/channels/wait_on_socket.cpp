#include "channels/wait_on_socket.h"

#include <errno.h>
#include <poll.h>

#include <chrono>

namespace vx_transfers {

int wait_on_socket(int sockfd, int forRecv, long timeoutMs) {
    // poll rather than select: no limit on the descriptor's number.
    pollfd entry{};
    entry.fd = sockfd;
    entry.events = forRecv != 0 ? POLLIN : POLLOUT;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const int result = ::poll(&entry, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
        // A signal does not shorten the wait.
        if (result < 0 && errno == EINTR) {
            continue;
        }
        return result;
    }
}

}  // namespace vx_transfers
