#pragma once

namespace vx_transfers {

// How long a transfer connection may stay silent before the attempt is given up.
const long kSocketWaitTimeoutMs = 60000;

// Waits until `sockfd` is writable (forRecv 0) or readable (forRecv non-zero), or has an error
// condition. Returns what poll() returns: 0 when `timeoutMs` passed without any readiness, a
// negative value when the wait itself failed (callers treat that like readiness and let libcurl
// find the error), positive otherwise. Channels always pass kSocketWaitTimeoutMs; tests pass
// shorter waits.
int wait_on_socket(int sockfd, int forRecv, long timeoutMs = kSocketWaitTimeoutMs);

}  // namespace vx_transfers
