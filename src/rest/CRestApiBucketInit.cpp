#include "rest/CRestApiBucketInit.h"

namespace vx_transfers {

dt_error CRestApiBucketInit::sendRequest(CRestApiAuthBase::RequestDetails& details) {
    Json::Value body;
    body["summary"] = "Test";
    body["viewMode"] = Json::Value();
    body["type"] = "message";
    body["previewsEnabled"] = true;
    body["body"] = Json::Value();
    body["password"] = Json::Value();
    body["uploader"] = "DESKTOP";
    body["files"] = Json::Value(Json::arrayValue);
    body["cloneFiles"] = Json::Value(Json::arrayValue);
    body["recipients"] = Json::Value(Json::arrayValue);
    return CRestApiAuthBase::sendRequest("/api/v2/bucket/message", body, details);
}

dt_error CRestApiBucketInit::receiveResponse(Response& out) {
    Json::Value value;
    return receiveCheckedResponse(value, [&out](const Json::Value& response) {
        const Json::Value token = response.get("token", Json::Value());
        if (!token.isNull()) {
            out.token = token.asString();
        }
        const Json::Value expires = response.get("tokenExpires", Json::Value());
        if (!expires.isNull()) {
            out.tokenExpires = expires.asUInt64();
        }
        const Json::Value bucketId = response.get("bucketId", Json::Value());
        if (!bucketId.isNull()) {
            out.bucketId = bucketId.asString();
        }
        return DT_SUCCESS;
    });
}

}  // namespace vx_transfers
