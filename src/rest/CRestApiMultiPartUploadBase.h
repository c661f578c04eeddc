#pragma once

#include <string>

#include "rest/CRestApiFileDetailsBaseWToken.h"

namespace vx_transfers {

// The calls that frame a multipart upload: one path shape, and the upload id beside the file
// identifiers in every body.
class CRestApiMultiPartUploadBase : public CRestApiFileDetailsBaseWToken {
public:
    struct RequestDetails {
        std::string fileId;
        std::string bucketId;
        std::string token;
        std::string uploadId;  // empty before the service has handed one out
    };

    using CRestApiFileDetailsBaseWToken::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details, Json::Value& body,
                                 const std::string& action);
    virtual void generatePath(std::string& out, RequestDetails& details, const std::string& action);
};

}  // namespace vx_transfers
