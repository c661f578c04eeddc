#pragma once

// Everything an application needs from vx_transfers, in one include.

#include "vx_transfers/CBucket.h"
#include "vx_transfers/CDownloadManager.h"
#include "vx_transfers/CTransferManagerBase.h"
#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"
#include "vx_transfers/CVxTransfersInitializer.h"
#include "vx_transfers/IFile.h"
#include "vx_transfers/IFileDownloader.h"
#include "vx_transfers/IThread.h"
#include "vx_transfers/dt_error.h"
#include "vx_transfers/error_type_convert.h"
#include "vx_transfers/export.h"
#include "vx_transfers/transfer_defs.h"
