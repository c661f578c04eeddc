#pragma once

#include "rest/CRestApiMultiPartUploadBase.h"

namespace vx_transfers {

// Gives a multipart upload up.
class CRestApiMultiPartUploadAbort : public CRestApiMultiPartUploadBase {
public:
    using CRestApiMultiPartUploadBase::receiveResponse;
    using CRestApiMultiPartUploadBase::sendRequest;

    virtual dt_error sendRequest(CRestApiMultiPartUploadBase::RequestDetails& details);
    // Only the file check of the family counts.
    virtual dt_error receiveResponse();
};

}  // namespace vx_transfers
