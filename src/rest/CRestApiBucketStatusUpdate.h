#pragma once

#include <string>

#include "rest/CRestApiCallBase.h"

namespace vx_transfers {

// Tells the service what has become of a bucket (in practice: that it is complete).
class CRestApiBucketStatusUpdate : public CRestApiCallBase {
public:
    struct RequestDetails {
        enum BucketStatus : unsigned int {
            INITIALIZED = 0,
            UPLOADING = 1,
            SYNCING = 2,
            COMPLETED = 3,
            EXPIRED = 4,
        };
        std::string bucketId;
        std::string token;  // the bucket token
        BucketStatus status = INITIALIZED;
    };

    using CRestApiCallBase::receiveResponse;
    using CRestApiCallBase::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details);
    // Succeeds when the answer's bucket.id is the bucket of the request.
    virtual dt_error receiveResponse();

    // The wire word; DT_INVALID_ARGUMENT for a value outside the table.
    static dt_error statusToString(RequestDetails::BucketStatus status, std::string& out);
    static void generatePath(std::string& out, RequestDetails& details);

private:
    std::string m_bucketId;
};

}  // namespace vx_transfers
