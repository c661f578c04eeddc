#include "vx_transfers/CTransferManagerBase.h"

#include "managers/startup/DefaultRestEndPoint.h"

namespace vx_transfers {

CTransferManagerBase::Configuration::Configuration()
    : maxConcurrentTransfers(2),
      minMultipartSize(52428800ULL),
      maxTransferRetries(3),
      verifyUploads(false),
      preventSleep(true),
      throttleBytesPerSec(0),
      reservedLimit(0),
      restEndPoint(kDefaultRestEndPointUrl) {}

CTransferManagerBase::~CTransferManagerBase() = default;

}  // namespace vx_transfers
