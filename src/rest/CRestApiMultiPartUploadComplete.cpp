#include "rest/CRestApiMultiPartUploadComplete.h"

namespace vx_transfers {

dt_error CRestApiMultiPartUploadComplete::sendRequest(RequestDetails& details) {
    Json::Value body;
    body["numberOfParts"] = details.numberOfParts;
    return CRestApiMultiPartUploadBase::sendRequest(details, body, "complete");
}

dt_error CRestApiMultiPartUploadComplete::receiveResponse() {
    Json::Value value;
    return CRestApiFileDetailsBase::receiveResponse(value);
}

}  // namespace vx_transfers
