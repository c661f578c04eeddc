#include "rest/CRestApiFileDetailsBaseWToken.h"

namespace vx_transfers {

dt_error CRestApiFileDetailsBaseWToken::sendRequest(const std::string& path, Json::Value& body,
                                                    std::string& fileId, std::string& bucketId,
                                                    std::string& token) {
    body["token"] = token;
    return CRestApiFileDetailsBase::sendRequest(path, body, fileId, bucketId);
}

}  // namespace vx_transfers
