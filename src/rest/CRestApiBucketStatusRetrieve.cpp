#include "rest/CRestApiBucketStatusRetrieve.h"

#include "platform/Log.h"

namespace vx_transfers {

namespace {

const char kMissingAttribute[] =
    "Error when retrieving bucket status. Response does not contain mandatory attribute: ";

}  // namespace

void CRestApiBucketStatusRetrieve::generatePath(std::string& out, RequestDetails& details) {
    out = "/api/v2/bucket/" + details.bucketId + "?token=" + details.token + "&detail=false";
}

CRestApiBucketStatusRetrieve::ResponseDetails::BucketStatus
CRestApiBucketStatusRetrieve::statusStringToStatus(const std::string& word) {
    if (word == "INITIALIZED") return ResponseDetails::INITIALIZED;
    if (word == "COMPLETED") return ResponseDetails::COMPLETED;
    if (word == "EXPIRED") return ResponseDetails::EXPIRED;
    if (word == "DELETED") return ResponseDetails::DELETED;
    return ResponseDetails::UNRECOGNIZED;
}

dt_error CRestApiBucketStatusRetrieve::sendRequest(RequestDetails& details) {
    std::string path;
    generatePath(path, details);
    m_bucketId = details.bucketId;
    Json::Value body;  // null: the writer still gives "null\n", sent with its length
    return CRestApiCallBase::sendRequest(path, body, HeaderList(), GET);
}

dt_error CRestApiBucketStatusRetrieve::receiveResponse(ResponseDetails& out) {
    Json::Value value;
    return receiveCheckedResponse(value, [this, &out](const Json::Value& response) {
        const Json::Value bucket = response.get("bucket", Json::Value());
        if (bucket.isNull()) {
            VXT_LOG_ERROR(kMissingAttribute << "bucket");
            return DT_FAILURE;
        }
        if (bucket.get("id", "").asString() != m_bucketId) {
            VXT_LOG_ERROR(kMissingAttribute << "id");
            return DT_FAILURE;
        }
        const Json::Value status = bucket.get("status", "");
        if (status.isNull()) {
            VXT_LOG_ERROR(kMissingAttribute << "status");
            return DT_FAILURE;
        }
        const std::string word = status.asString();
        out.status = statusStringToStatus(word);
        if (out.status == ResponseDetails::UNRECOGNIZED) {
            VXT_LOG_WARNING("Unrecognized bucket status: " << word);
        }
        return DT_SUCCESS;
    });
}

}  // namespace vx_transfers
