#include "rest/CRestApiAuthBase.h"

namespace vx_transfers {

dt_error CRestApiAuthBase::sendRequest(const std::string& path, Json::Value& body,
                                       RequestDetails& details) {
    const HeaderList headers{{"x-vx-auth-token", details.authToken}};
    return CRestApiCallBase::sendRequest(path, body, headers, POST);
}

}  // namespace vx_transfers
