#include "rest/CRestApiFileStatusUpdate.h"

namespace vx_transfers {

namespace {

const char* const kStatusWords[] = {"INITIALIZED", "UPLOADING", "SYNCING", "COMPLETED",
                                    "CANCELLED",   "DELETED",   "EXPIRED"};

}  // namespace

dt_error CRestApiFileStatusUpdate::statusToString(RequestDetails::FileStatus status,
                                                  std::string& out) {
    return wordOf(kStatusWords, status, out);
}

void CRestApiFileStatusUpdate::generatePath(std::string& out, RequestDetails& details) {
    out = "/api/v2/bucket/" + details.bucketId + "/file/" + details.fileId + "/status";
}

dt_error CRestApiFileStatusUpdate::sendRequest(RequestDetails& details) {
    std::string status;
    const dt_error result = statusToString(details.status, status);
    if (result != DT_SUCCESS) {
        return result;
    }
    Json::Value body;
    body["status"] = status;
    body["progress"] = static_cast<Json::UInt64>(details.progress);
    std::string path;
    generatePath(path, details);
    return CRestApiFileDetailsBaseWToken::sendRequest(path, body, details.fileId, details.bucketId,
                                                      details.token);
}

dt_error CRestApiFileStatusUpdate::receiveResponse() {
    Json::Value value;
    return CRestApiFileDetailsBase::receiveResponse(value);
}

}  // namespace vx_transfers
