#pragma once

#include "vx_transfers/export.h"

namespace vx_transfers {

// Process-wide start-up of the libraries that vx_transfers builds on (the crypto library's
// threading and libcurl). Call initialize() once, first of all, before setting
// CVxTransfersGlobalConfig and constructing a manager. There is no matching clean-up call:
// what initialize() set up is released at process exit.
class VX_TRANSFERS_API CVxTransfersInitializer {
public:
    // True when the library is ready for transfers. False means libcurl could not be set up;
    // the reason is in the log, and a later call tries again. Safe to call more than once.
    static bool initialize();
};

}  // namespace vx_transfers
