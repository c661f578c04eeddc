#pragma once

#include <string>

#include "rest/CRestApiCallBase.h"

namespace vx_transfers {

// Obtains the user's token for the calls of CRestApiAuthBase.
class CRestApiLogin : public CRestApiCallBase {
public:
    struct RequestDetails {
        std::string userId;
        std::string password;
    };

    struct ResponseDetails {
        std::string token;
        unsigned long long tokenExpires = 0;  // 0 when the service gives none
    };

    using CRestApiCallBase::receiveResponse;
    using CRestApiCallBase::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details);
    // Fails without a token.
    virtual dt_error receiveResponse(ResponseDetails& out);
};

}  // namespace vx_transfers
