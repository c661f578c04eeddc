#pragma once

namespace vx_transfers {

// Result of every internal operation that can fail. 0 is success, so a result can be tested
// as a truth value; any other value is passed upward unchanged. The words of a failure are
// logged where it happens: the value only travels. The numbers are stable; 3 and 5 are kept
// free and never produced.
enum dt_error : int {
    DT_SUCCESS = 0,                 // success
    DT_INVALID_ARGUMENT = 1,        // refused before any work was done
    DT_FAILURE = 2,                 // general failure (REST, HTTP status, socket wait, buffers)
    DT_RESERVED_3 = 3,              // reserved
    DT_NOT_CONNECTED = 4,           // a REST call without an HTTP session
    DT_RESERVED_5 = 5,              // reserved
    DT_CANCELED = 6,                // cancelled; on a download connection: redirected, reconnect
    DT_PAUSED = 7,                  // a pause was requested
    DT_STOPPED = 8,                 // stopped; on a download connection: URL expired (HTTP 403)
    DT_LOCAL_FILE_ERROR = 9,        // a local file could not be created or written
    DT_FILE_CHANGED = 10,           // the file's size is not the one recorded when it was queued
    DT_MULTIPART_INIT_FAILED = 11,  // the initialisation of a multipart upload failed
    DT_URL_UNAVAILABLE = 12,        // the real download URL could not be obtained
    DT_SOCKET_ERROR = 13,           // sending or receiving on the transfer connection failed
    DT_URL_EMPTY = 14,              // a download channel has no URL after preparing its connection
};

}  // namespace vx_transfers
