#include "rest/CRestApiLogin.h"

namespace vx_transfers {

dt_error CRestApiLogin::sendRequest(RequestDetails& details) {
    Json::Value body;
    body["userId"] = details.userId;
    body["password"] = details.password;
    return CRestApiCallBase::sendRequest("/login", body, HeaderList(), POST);
}

dt_error CRestApiLogin::receiveResponse(ResponseDetails& out) {
    Json::Value value;
    return receiveCheckedResponse(value, [&out](const Json::Value& response) {
        const Json::Value token = response.get("token", Json::Value());
        if (token.isNull()) {
            return DT_FAILURE;
        }
        out.token = token.asString();
        const Json::Value expires = response.get("tokenExpires", Json::Value());
        out.tokenExpires = expires.isNull() ? 0 : expires.asUInt64();
        return DT_SUCCESS;
    });
}

}  // namespace vx_transfers
