#pragma once

#include <string>

#include "rest/CRestApiFileDetailsBaseWToken.h"

namespace vx_transfers {

// Tells the service how far a file is, or that it is finished or cancelled.
class CRestApiFileStatusUpdate : public CRestApiFileDetailsBaseWToken {
public:
    struct RequestDetails {
        enum FileStatus : unsigned int {
            INITIALIZED = 0,
            UPLOADING = 1,
            SYNCING = 2,
            COMPLETED = 3,
            CANCELLED = 4,
            DELETED = 5,
            EXPIRED = 6,
        };
        std::string fileId;
        std::string bucketId;
        std::string token;
        unsigned long long progress = 0;  // bytes transferred so far
        FileStatus status = INITIALIZED;
    };

    using CRestApiFileDetailsBaseWToken::receiveResponse;
    using CRestApiFileDetailsBaseWToken::sendRequest;

    virtual dt_error sendRequest(RequestDetails& details);
    // Only the file check of the family counts; the parsed answer is dropped.
    virtual dt_error receiveResponse();

    // The wire word; DT_INVALID_ARGUMENT for a value outside the table.
    static dt_error statusToString(RequestDetails::FileStatus status, std::string& out);
    static void generatePath(std::string& out, RequestDetails& details);
};

}  // namespace vx_transfers
