#include "rest/CRestApiMultiPartUploadAbort.h"

namespace vx_transfers {

dt_error CRestApiMultiPartUploadAbort::sendRequest(
    CRestApiMultiPartUploadBase::RequestDetails& details) {
    Json::Value body;
    return CRestApiMultiPartUploadBase::sendRequest(details, body, "abort");
}

dt_error CRestApiMultiPartUploadAbort::receiveResponse() {
    Json::Value value;
    return CRestApiFileDetailsBase::receiveResponse(value);
}

}  // namespace vx_transfers
