#pragma once

#include "vx_transfers/dt_error.h"

namespace vx_transfers {

// Waiting on a socket by its number, for code that holds a connection outside libcurl.
class CRawSocket {
public:
    enum SocketAvailabilityType {
        SOCKET_WRITABLE = 0,
        SOCKET_READABLE = 1,
    };
    // Accepted for compatibility; no option has an effect.
    enum SocketOption {
        SOCKET_OPTION_NONE = 0,
    };

    explicit CRawSocket(int socket);

    // DT_SUCCESS once the socket is ready (or in error), DT_FAILURE after `timeoutMs` or when
    // the wait fails, DT_INVALID_ARGUMENT for an unknown type.
    dt_error waitAvailable(SocketAvailabilityType type, unsigned long timeoutMs);
    dt_error setOption(SocketOption option, unsigned int value);

private:
    int m_socket;
};

}  // namespace vx_transfers
