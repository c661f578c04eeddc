#include "rest/CRestApiFileDetailsBase.h"

namespace vx_transfers {

dt_error CRestApiFileDetailsBase::sendRequest(const std::string& path, Json::Value& body,
                                              std::string& fileId, std::string& bucketId) {
    m_fileId = fileId;
    m_bucketId = bucketId;
    body["fileId"] = fileId;
    body["bucketId"] = bucketId;
    return CRestApiCallBase::sendRequest(path, body, HeaderList(), POST);
}

dt_error CRestApiFileDetailsBase::receiveResponse(Json::Value& out) {
    const dt_error result = CRestApiCallBase::receiveResponse(out);
    if (result != DT_SUCCESS) {
        return result;
    }
    return runResponseCheck(out, [this](const Json::Value& value) {
        const Json::Value file = value.get("file", Json::Value());
        if (file.isNull()) {
            return DT_FAILURE;
        }
        const std::string id = file.get("id", "").asString();
        const std::string bucketId = file.get("bucketId", "").asString();
        // One matching identifier is enough: the service answers some calls about a file with
        // the bucket's view of it.
        if (id == m_fileId || bucketId == m_bucketId) {
            return DT_SUCCESS;
        }
        return DT_FAILURE;
    });
}

}  // namespace vx_transfers
