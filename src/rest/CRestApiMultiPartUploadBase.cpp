#include "rest/CRestApiMultiPartUploadBase.h"

namespace vx_transfers {

void CRestApiMultiPartUploadBase::generatePath(std::string& out, RequestDetails& details,
                                               const std::string& action) {
    out = "/api/v2/bucket/" + details.bucketId + "/file/" + details.fileId + "/upload/multipart/" +
          action;
}

dt_error CRestApiMultiPartUploadBase::sendRequest(RequestDetails& details, Json::Value& body,
                                                  const std::string& action) {
    body["uploadId"] = details.uploadId.empty() ? Json::Value() : Json::Value(details.uploadId);
    std::string path;
    generatePath(path, details, action);
    return CRestApiFileDetailsBaseWToken::sendRequest(path, body, details.fileId, details.bucketId,
                                                      details.token);
}

}  // namespace vx_transfers
