#pragma once

#include <string>

#include "rest/CRestApiFileDetailsBase.h"

namespace vx_transfers {

// A file call that carries the bucket token in its body.
class CRestApiFileDetailsBaseWToken : public CRestApiFileDetailsBase {
public:
    using CRestApiFileDetailsBase::sendRequest;

    virtual dt_error sendRequest(const std::string& path, Json::Value& body, std::string& fileId,
                                 std::string& bucketId, std::string& token);
};

}  // namespace vx_transfers
