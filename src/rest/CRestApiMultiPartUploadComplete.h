#pragma once

#include "rest/CRestApiMultiPartUploadBase.h"

namespace vx_transfers {

// Tells the service that all parts of a multipart upload are there.
class CRestApiMultiPartUploadComplete : public CRestApiMultiPartUploadBase {
public:
    struct RequestDetails : CRestApiMultiPartUploadBase::RequestDetails {
        unsigned int numberOfParts = 0;
    };

    using CRestApiMultiPartUploadBase::receiveResponse;
    using CRestApiMultiPartUploadBase::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details);
    // Only the file check of the family counts.
    virtual dt_error receiveResponse();
};

}  // namespace vx_transfers
