#pragma once

#include <string>

#include "rest/CRestApiCallBase.h"

namespace vx_transfers {

// A call about one file of a bucket: the identifiers go into the body, and the answer's
// "file" object must name the same file or the same bucket.
class CRestApiFileDetailsBase : public CRestApiCallBase {
public:
    using CRestApiCallBase::sendRequest;

    dt_error receiveResponse(Json::Value& out) override;

    // Keeps the identifiers for the check of the answer, puts them in the body and POSTs.
    virtual dt_error sendRequest(const std::string& path, Json::Value& body, std::string& fileId,
                                 std::string& bucketId);

protected:
    std::string m_fileId;
    std::string m_bucketId;
};

}  // namespace vx_transfers
