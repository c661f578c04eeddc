#include "rest/CRestApiBucketStatusUpdate.h"

namespace vx_transfers {

namespace {

const char* const kStatusWords[] = {"INITIALIZED", "UPLOADING", "SYNCING", "COMPLETED", "EXPIRED"};

}  // namespace

dt_error CRestApiBucketStatusUpdate::statusToString(RequestDetails::BucketStatus status,
                                                    std::string& out) {
    return wordOf(kStatusWords, status, out);
}

void CRestApiBucketStatusUpdate::generatePath(std::string& out, RequestDetails& details) {
    out = "/api/v2/bucket/" + details.bucketId + "/status";
}

dt_error CRestApiBucketStatusUpdate::sendRequest(RequestDetails& details) {
    std::string status;
    const dt_error result = statusToString(details.status, status);
    if (result != DT_SUCCESS) {
        return result;
    }
    Json::Value body;
    body["token"] = details.token;
    body["bucketId"] = details.bucketId;
    body["status"] = status;
    std::string path;
    generatePath(path, details);
    m_bucketId = details.bucketId;
    return CRestApiCallBase::sendRequest(path, body, HeaderList(), POST);
}

dt_error CRestApiBucketStatusUpdate::receiveResponse() {
    Json::Value value;
    return receiveCheckedResponse(value, [this](const Json::Value& response) {
        const Json::Value bucket = response.get("bucket", Json::Value());
        if (bucket.isNull()) {
            return DT_FAILURE;
        }
        return bucket.get("id", "").asString() == m_bucketId ? DT_SUCCESS : DT_FAILURE;
    });
}

}  // namespace vx_transfers
