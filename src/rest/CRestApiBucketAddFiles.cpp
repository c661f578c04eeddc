#include "rest/CRestApiBucketAddFiles.h"

namespace vx_transfers {

namespace {

// The service wants creation and modification dates; it does not use them, so every file
// gets the same fixed ones.
const char kFixedFileDate[] = "2008-08-01T02:00:00.000Z";

void readUploadDetails(const Json::Value& details,
                       CRestApiBucketAddFiles::Response::FileSpec& entry) {
    const Json::Value put = details.get("put", Json::Value());
    if (put.isNull()) {
        return;
    }
    const Json::Value url = put.get("url", Json::Value());
    if (!url.isNull()) {
        entry.url = url.asString();
    }
    const Json::Value expires = put.get("expires", Json::Value());
    if (!expires.isNull()) {
        entry.expires = expires.asUInt64();
    }
    const Json::Value headers = put.get("headers", Json::Value());
    if (!headers.isNull()) {
        for (const std::string& name : headers.getMemberNames()) {
            entry.headers.emplace_back(name, headers[name].asString());
        }
    }
}

void readFile(const Json::Value& element, CRestApiBucketAddFiles::Response::FileSpec& entry) {
    const Json::Value file = element.get("file", Json::Value());
    if (!file.isNull()) {
        const Json::Value id = file.get("id", Json::Value());
        if (!id.isNull()) {
            entry.fileId = id.asString();
        }
    }
    const Json::Value uploadDetails = element.get("uploadDetails", Json::Value());
    if (!uploadDetails.isNull()) {
        readUploadDetails(uploadDetails, entry);
    }
}

}  // namespace

void CRestApiBucketAddFiles::generatePath(std::string& out, RequestDetails& details) {
    out = "/api/v2/bucket/" + details.bucketId + "/files";
}

dt_error CRestApiBucketAddFiles::sendRequest(RequestDetails& details) {
    Json::Value body;
    body["token"] = details.token;
    body["bucketId"] = details.bucketId;
    body["uploader"] = "DESKTOP";
    body["cloneFiles"] = Json::Value(Json::arrayValue);
    for (const RequestDetails::FileSpec& file : details.files) {
        Json::Value item;
        item["name"] = file.name;
        item["size"] = static_cast<Json::UInt64>(file.size);
        item["created"] = kFixedFileDate;
        item["modified"] = kFixedFileDate;
        item["path"] = Json::Value();
        body["files"].append(item);
    }
    std::string path;
    generatePath(path, details);
    return CRestApiAuthBase::sendRequest(path, body, details);
}

dt_error CRestApiBucketAddFiles::receiveResponse(Response& out) {
    Json::Value value;
    return receiveCheckedResponse(value, [&out](const Json::Value& response) {
        out.files.clear();
        const Json::Value files = response.get("files", Json::Value());
        if (files.isNull() || files.empty()) {
            return DT_SUCCESS;
        }
        for (Json::ArrayIndex i = 0; i < files.size(); ++i) {
            Response::FileSpec entry;
            readFile(files[i], entry);
            out.files.push_back(entry);
        }
        return DT_SUCCESS;
    });
}

}  // namespace vx_transfers
