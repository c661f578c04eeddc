#include "rest/CRestApiMultiPartUploadInitialize.h"

namespace vx_transfers {

namespace {

Json::Value stringOrNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

void readPart(const Json::Value& element, CRestApiMultiPartUploadInitialize::Response::Part& part) {
    const Json::Value& url = element["url"];
    if (!url.isNull()) {
        part.url = url.asString();
    }
    const Json::Value& expires = element["expires"];
    if (!expires.isNull()) {
        part.expires = expires.asUInt64();
    }
    const Json::Value& number = element["number"];
    if (!number.isNull()) {
        part.number = number.asInt();
    }
    const Json::Value& headers = element["headers"];
    if (!headers.isNull()) {
        for (const std::string& name : headers.getMemberNames()) {
            part.headers.emplace_back(name, headers[name].asString());
        }
    }
}

}  // namespace

dt_error CRestApiMultiPartUploadInitialize::sendRequest(RequestDetails& details) {
    Json::Value body;
    body["uploader"] = "DESKTOP";
    body["md5Digest"] = stringOrNull(details.md5Digest);
    body["size"] = static_cast<Json::UInt64>(details.size);
    Json::Value parts;  // stays null when there are no parts
    for (const RequestDetails::Part& part : details.parts) {
        Json::Value item;
        item["number"] = part.number;
        item["size"] = static_cast<Json::UInt64>(part.size);
        item["md5Digest"] = stringOrNull(part.md5Digest);
        parts.append(item);
    }
    body["parts"] = parts;
    return CRestApiMultiPartUploadBase::sendRequest(details, body, "initialize");
}

dt_error CRestApiMultiPartUploadInitialize::receiveResponse(Response& out) {
    Json::Value value;
    return receiveCheckedResponse(value, [&out](const Json::Value& response) {
        const Json::Value uploadId = response.get("uploadId", Json::Value());
        if (uploadId.isNull()) {
            return DT_FAILURE;
        }
        out.uploadId = uploadId.asString();
        const Json::Value details = response.get("partUploadDetails", Json::Value());
        out.parts.clear();
        out.parts.resize(details.size());
        for (Json::ArrayIndex i = 0; i < details.size(); ++i) {
            readPart(details[i], out.parts[i]);
        }
        return DT_SUCCESS;
    });
}

}  // namespace vx_transfers
