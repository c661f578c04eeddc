#include "vx_transfers/error_type_convert.h"

namespace vx_transfers {
namespace error_type_convert {

transfer_defs::FileErrorType fileErrorTypeFromDtError(dt_error error) {
    switch (error) {
        case DT_LOCAL_FILE_ERROR:
            return transfer_defs::FILE_ERROR_LOCAL_FILE;
        case DT_FILE_CHANGED:
            return transfer_defs::FILE_ERROR_FILE_CHANGED;
        case DT_MULTIPART_INIT_FAILED:
            return transfer_defs::FILE_ERROR_MULTIPART_INIT;
        case DT_URL_UNAVAILABLE:
            return transfer_defs::FILE_ERROR_URL;
        case DT_SOCKET_ERROR:
            return transfer_defs::FILE_ERROR_CONNECTION;
        default:
            return transfer_defs::FILE_ERROR_NONE;
    }
}

}  // namespace error_type_convert
}  // namespace vx_transfers
