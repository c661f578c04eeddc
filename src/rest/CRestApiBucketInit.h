#pragma once

#include <string>

#include "rest/CRestApiAuthBase.h"

namespace vx_transfers {

// Creates a bucket for the logged-in user.
class CRestApiBucketInit : public CRestApiAuthBase {
public:
    struct Response {
        std::string token;  // the bucket token
        unsigned long long tokenExpires = 0;
        std::string bucketId;
    };

    using CRestApiAuthBase::receiveResponse;
    using CRestApiAuthBase::sendRequest;

    virtual dt_error sendRequest(CRestApiAuthBase::RequestDetails& details);
    // Missing keys are no failure: they leave their fields empty.
    virtual dt_error receiveResponse(Response& out);
};

}  // namespace vx_transfers
