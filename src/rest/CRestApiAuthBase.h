#pragma once

#include <string>

#include "rest/CRestApiCallBase.h"

namespace vx_transfers {

// A call made on behalf of a logged-in user: the user token travels in "x-vx-auth-token".
class CRestApiAuthBase : public CRestApiCallBase {
public:
    struct RequestDetails {
        std::string authToken;                    // from /login
        unsigned long long authTokenExpires = 0;  // as received in "tokenExpires"
    };

    using CRestApiCallBase::sendRequest;

    virtual dt_error sendRequest(const std::string& path, Json::Value& body,
                                 RequestDetails& details);
};

}  // namespace vx_transfers
