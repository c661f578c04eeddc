#include "channels/CRawSocket.h"

#include <poll.h>

#include <climits>

namespace vx_transfers {

CRawSocket::CRawSocket(int socket) : m_socket(socket) {}

dt_error CRawSocket::waitAvailable(SocketAvailabilityType type, unsigned long timeoutMs) {
    pollfd entry{};
    entry.fd = m_socket;
    switch (type) {
        case SOCKET_WRITABLE:
            entry.events = POLLOUT;
            break;
        case SOCKET_READABLE:
            entry.events = POLLIN;
            break;
        default:
            return DT_INVALID_ARGUMENT;
    }
    const int wait =
        timeoutMs > static_cast<unsigned long>(INT_MAX) ? INT_MAX : static_cast<int>(timeoutMs);
    const int result = ::poll(&entry, 1, wait);
    return result < 1 ? DT_FAILURE : DT_SUCCESS;
}

dt_error CRawSocket::setOption(SocketOption, unsigned int) { return DT_SUCCESS; }

}  // namespace vx_transfers
