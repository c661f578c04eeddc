#pragma once

#include <string>

#include "rest/CRestApiCallBase.h"

namespace vx_transfers {

// Asks the service whether a bucket is still alive.
class CRestApiBucketStatusRetrieve : public CRestApiCallBase {
public:
    struct RequestDetails {
        std::string bucketId;
        std::string token;  // the bucket token, sent in the query
    };

    struct ResponseDetails {
        // Not the numbering of the update call: the reading side knows fewer words.
        enum BucketStatus : unsigned int {
            UNRECOGNIZED = 0,
            INITIALIZED = 1,
            COMPLETED = 2,
            EXPIRED = 3,
            DELETED = 4,
        };
        BucketStatus status = UNRECOGNIZED;
    };

    using CRestApiCallBase::receiveResponse;
    using CRestApiCallBase::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details);
    // Fails when bucket or its id is missing or names another bucket, or status is null; an
    // unknown or missing status word is success with UNRECOGNIZED.
    virtual dt_error receiveResponse(ResponseDetails& out);

    static void generatePath(std::string& out, RequestDetails& details);
    static ResponseDetails::BucketStatus statusStringToStatus(const std::string& word);

private:
    std::string m_bucketId;
};

}  // namespace vx_transfers
