#pragma once

namespace vx_transfers {
namespace transfer_defs {

// Why a file failed, as the application sees it in CTransferManagerBase::FileState.
// The numbers are stable.
enum FileErrorType : int {
    FILE_ERROR_NONE = 0,            // no detail
    FILE_ERROR_LOCAL_FILE = 1,      // the local file could not be read, created or written
    FILE_ERROR_FILE_CHANGED = 2,    // the file changed on disk while queued or being uploaded
    FILE_ERROR_URL = 3,             // no usable URL, or a connection that could not be repaired
    FILE_ERROR_CONNECTION = 4,      // a part ran out of retries
    FILE_ERROR_MULTIPART_INIT = 5,  // the initialisation of a multipart upload failed
    FILE_ERROR_CHANNEL_INIT = 6,    // preparing the connection of a part failed
};

// Why a group failed, as the application sees it in CTransferManagerBase::GroupState.
// The numbers are stable.
enum GroupErrorType : int {
    GROUP_ERROR_NONE = 0,                 // no detail
    GROUP_ERROR_BUCKET_EXPIRED = 1,       // the service reports the bucket as expired or deleted
    GROUP_ERROR_COMPLETION_NOT_SENT = 2,  // all files are done, but the service was not told
};

}  // namespace transfer_defs
}  // namespace vx_transfers
