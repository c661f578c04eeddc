#pragma once

#include <string>
#include <utility>
#include <vector>

#include "rest/CRestApiAuthBase.h"

namespace vx_transfers {

// Adds files to a bucket and receives the URL each is to be uploaded to.
class CRestApiBucketAddFiles : public CRestApiAuthBase {
public:
    struct RequestDetails : CRestApiAuthBase::RequestDetails {
        struct FileSpec {
            std::string name;
            unsigned long long size = 0;
        };
        std::string bucketId;
        std::string token;  // the bucket token
        std::vector<FileSpec> files;
    };

    struct Response {
        struct FileSpec {
            std::string fileId;
            std::string url;
            unsigned long long expires = 0;
            std::vector<std::pair<std::string, std::string>> headers;
        };
        std::vector<FileSpec> files;  // in the order of the answer
    };

    using CRestApiAuthBase::receiveResponse;
    using CRestApiAuthBase::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details);
    // Takes each answered file as far as its keys go; none is dropped for missing keys.
    virtual dt_error receiveResponse(Response& out);

    static void generatePath(std::string& out, RequestDetails& details);
};

}  // namespace vx_transfers
