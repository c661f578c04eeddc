#pragma once

#include <string>
#include <utility>
#include <vector>

#include "rest/CRestApiMultiPartUploadBase.h"

namespace vx_transfers {

// Announces a multipart upload with its parts and receives one URL with headers per part.
class CRestApiMultiPartUploadInitialize : public CRestApiMultiPartUploadBase {
public:
    struct RequestDetails : CRestApiMultiPartUploadBase::RequestDetails {
        struct Part {
            unsigned int number = 0;  // from 1
            unsigned long long size = 0;
            std::string md5Digest;  // may be empty
        };
        std::string md5Digest;  // of the whole file, may be empty
        unsigned long long size = 0;
        std::vector<Part> parts;
    };

    struct Response {
        struct Part {
            std::string url;
            unsigned long long expires = 0;  // kept, not interpreted
            std::vector<std::pair<std::string, std::string>> headers;
            int number = 0;
        };
        std::string uploadId;
        std::vector<Part> parts;  // in the order of the answer
    };

    using CRestApiMultiPartUploadBase::receiveResponse;
    using CRestApiMultiPartUploadBase::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details);
    // Fails without an uploadId; a missing partUploadDetails is success with no parts.
    virtual dt_error receiveResponse(Response& out);
};

}  // namespace vx_transfers
