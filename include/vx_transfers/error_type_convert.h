#pragma once

#include "vx_transfers/dt_error.h"
#include "vx_transfers/export.h"
#include "vx_transfers/transfer_defs.h"

namespace vx_transfers {
namespace error_type_convert {

// The file error that the application is shown for an internal result. Only local file,
// changed file, multipart initialisation, URL and socket failures have a counterpart;
// every other value, success included, gives FILE_ERROR_NONE.
VX_TRANSFERS_API transfer_defs::FileErrorType fileErrorTypeFromDtError(dt_error error);

}  // namespace error_type_convert
}  // namespace vx_transfers
