#include "vxt-service/CRestRoutes.h"

#include <algorithm>
#include <set>

#include "vxt-service/CJson.h"
#include "vxt-service/CObjectStore.h"
#include "vxt-service/CServiceIds.h"
#include "vxt-service/CServiceImpl.h"

namespace vxt_service {
namespace {

const char* const kBucketWords[] = {"INITIALIZED", "UPLOADING", "SYNCING", "COMPLETED", "EXPIRED"};
const char* const kFileWords[] = {"INITIALIZED", "UPLOADING", "SYNCING", "COMPLETED",
                                  "CANCELLED",   "DELETED",   "EXPIRED"};
constexpr std::size_t kMaxParts = 1000;

template <std::size_t N>
bool isOneOf(const std::string& word, const char* const (&words)[N]) {
    return std::find_if(std::begin(words), std::end(words),
                        [&](const char* w) { return word == w; }) != std::end(words);
}

bool isMd5Hex(const std::string& text) {
    return text.size() == 32 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

std::string lowerHex(std::string text) {
    for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

HttpResponse methodNotAllowed(const char* allowed) {
    HttpResponse response = CJson::error(405, std::string("use ") + allowed);
    response.headers.emplace_back("Allow", allowed);
    return response;
}

Json::Value headersJson(const HeaderList& headers) {
    Json::Value out(Json::objectValue);
    for (const auto& h : headers) out[h.first] = h.second;
    return out;
}

}  // namespace

Json::Value CRestRoutes::fileJson(const FileRecord& file) {
    Json::Value out;
    out["id"] = file.id;
    out["bucketId"] = file.bucketId;
    out["name"] = file.name;
    out["size"] = Json::UInt64(file.size);
    out["status"] = file.status;
    out["modified"] = Json::UInt64(file.modifiedMs);
    return out;
}

Json::Value CRestRoutes::bucketJson(const BucketRecord& bucket) {
    Json::Value out;
    out["id"] = bucket.id;
    out["status"] = bucket.status;
    out["type"] = bucket.type;
    out["tokenExpires"] = Json::UInt64(bucket.tokenExpiresMs);
    return out;
}

HttpResponse CRestRoutes::handle(const HttpRequest& request, const RouteMatch& match) {
    const std::string& r = match.name;
    const bool get = request.method == "GET" || request.method == "HEAD";
    const bool post = request.method == "POST";
    if (r == "bucket.status.get" || r == "file.download") {
        if (!get) return methodNotAllowed("GET, HEAD");
        return r == "file.download" ? downloadRedirect(request, match)
                                    : getBucketStatus(request, match);
    }
    if (!post) return methodNotAllowed("POST");
    if (r == "login") return login(request);
    if (r == "bucket.create") return createBucket(request);
    if (r == "bucket.files") return addFiles(request, match);
    if (r == "bucket.status.update") return updateBucketStatus(request, match);
    if (r == "file.status") return updateFileStatus(request, match);
    if (r == "multipart.initialize") return initializeMultipart(request, match);
    if (r == "multipart.complete") return completeMultipart(request, match);
    if (r == "multipart.abort") return abortMultipart(request, match);
    return CJson::error(404, "no such route");
}

HttpResponse CRestRoutes::login(const HttpRequest& request) {
    Json::Value body;
    std::string error, user, password;
    if (!CJson::parseObject(request.body, body, error) ||
        !CJson::getString(body, "userId", user, error) ||
        !CJson::getString(body, "password", password, error)) {
        return CJson::error(400, error);
    }
    if (user != m_service.config().user || password != m_service.config().password) {
        return CJson::error(401, "wrong user or password");
    }
    std::uint64_t expires =
        CServiceIds::nowMs() + m_service.config().tokenLifetimeSeconds * 1000ULL;
    Json::Value out;
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        out["token"] = m_service.state().issueUserTokenNoLock(expires);
    }
    out["tokenExpires"] = Json::UInt64(expires);
    out["userId"] = user;
    return CJson::ok(out);
}

bool CRestRoutes::checkUserToken(const HttpRequest& request, HttpResponse& error) {
    if (!request.hasHeader("x-vx-auth-token")) {
        error = CJson::error(401, "missing x-vx-auth-token");
        return false;
    }
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    if (!m_service.state().userTokenValidNoLock(request.header("x-vx-auth-token"),
                                                CServiceIds::nowMs())) {
        error = CJson::error(403, "unknown or expired user token");
        return false;
    }
    return true;
}

HttpResponse CRestRoutes::createBucket(const HttpRequest& request) {
    HttpResponse error;
    if (!checkUserToken(request, error)) return error;
    Json::Value body;
    std::string message, type;
    if (!CJson::parseObject(request.body, body, message) ||
        !CJson::getString(body, "type", type, message)) {
        return CJson::error(400, message);
    }
    for (const char* key : {"files", "cloneFiles", "recipients"}) {
        if (body.isMember(key) && !body[key].isArray()) {
            return CJson::error(400, std::string("key '") + key + "' is not an array");
        }
    }
    BucketRecord bucket;
    bucket.id = CServiceIds::make("b", 20);
    bucket.token = CServiceIds::make("t", 31);
    bucket.type = type;
    bucket.tokenExpiresMs =
        CServiceIds::nowMs() + m_service.config().tokenLifetimeSeconds * 1000ULL;
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        m_service.state().addBucketNoLock(bucket);
    }
    Json::Value out;
    out["bucketId"] = bucket.id;
    out["token"] = bucket.token;
    out["tokenExpires"] = Json::UInt64(bucket.tokenExpiresMs);
    out["bucket"] = bucketJson(bucket);
    return CJson::ok(out);
}

bool CRestRoutes::parseBucketBody(const HttpRequest& request, const RouteMatch& match,
                                  Json::Value& body, std::string& token, HttpResponse& error) {
    std::string message, bucketId, fileId;
    if (!CJson::parseObject(request.body, body, message)) {
        error = CJson::error(400, message);
        return false;
    }
    if (!body.isMember("token")) {
        error = CJson::error(401, "missing bucket token");
        return false;
    }
    if (!CJson::getString(body, "token", token, message) ||
        !CJson::getString(body, "bucketId", bucketId, message) ||
        (!match.fileId.empty() && !CJson::getString(body, "fileId", fileId, message))) {
        error = CJson::error(400, message);
        return false;
    }
    if (bucketId != match.bucketId) {
        error = CJson::error(400, "bucketId in the body differs from the path");
        return false;
    }
    if (fileId != match.fileId) {
        error = CJson::error(400, "fileId in the body differs from the path");
        return false;
    }
    return true;
}

BucketRecord* CRestRoutes::checkBucketNoLock(const std::string& bucketId, const std::string* token,
                                             bool readOnly, HttpResponse& error) {
    BucketRecord* bucket = m_service.state().findBucketNoLock(bucketId);
    if (bucket == nullptr) {
        error = CJson::error(404, "no bucket '" + bucketId + "'");
        return nullptr;
    }
    if (token == nullptr) {
        error = CJson::error(401, "missing bucket token");
        return nullptr;
    }
    if (*token != bucket->token) {
        error = CJson::error(403, "wrong bucket token");
        return nullptr;
    }
    if (!readOnly && !bucket->live()) {
        error = CJson::error(410, "bucket is " + bucket->status);
        return nullptr;
    }
    return bucket;
}

FileRecord* CRestRoutes::checkFileNoLock(BucketRecord& bucket, const std::string& fileId,
                                         HttpResponse& error) {
    auto it = bucket.files.find(fileId);
    if (it == bucket.files.end()) {
        error = CJson::error(404, "no file '" + fileId + "' in bucket '" + bucket.id + "'");
        return nullptr;
    }
    return &it->second;
}

UploadRecord* CRestRoutes::checkUploadNoLock(FileRecord& file, const std::string& uploadId,
                                             HttpResponse& error) {
    auto it = file.uploads.find(uploadId);
    if (it == file.uploads.end() || it->second.state == UploadRecord::State::Aborted) {
        error = CJson::error(404, "no open upload '" + uploadId + "'");
        return nullptr;
    }
    return &it->second;
}

HttpResponse CRestRoutes::addFiles(const HttpRequest& request, const RouteMatch& match) {
    HttpResponse error;
    if (!checkUserToken(request, error)) return error;
    Json::Value body;
    std::string token, message;
    if (!parseBucketBody(request, match, body, token, error)) return error;
    const Json::Value none(Json::arrayValue);
    const Json::Value& files = body.isMember("files") ? body["files"] : none;
    if (!files.isArray()) return CJson::error(400, "key 'files' is not an array");
    std::vector<FileRecord> records;
    for (const auto& entry : files) {
        FileRecord file;
        if (!entry.isObject()) return CJson::error(400, "an element of 'files' is not an object");
        if (!CJson::getString(entry, "name", file.name, message) ||
            !CJson::getUInt64(entry, "size", file.size, message)) {
            return CJson::error(400, message);
        }
        if (file.name.empty()) return CJson::error(400, "a file has an empty name");
        file.id = CServiceIds::make("f", 20);
        file.bucketId = match.bucketId;
        file.uploadKey = CServiceIds::make("k", 31);
        file.modifiedMs = CServiceIds::nowMs();
        records.push_back(std::move(file));
    }
    std::uint64_t expires = m_service.dataUrlExpiry();
    Json::Value out;
    out["files"] = Json::Value(Json::arrayValue);
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = checkBucketNoLock(match.bucketId, &token, false, error);
    if (bucket == nullptr) return error;
    for (const auto& file : records) {
        m_service.state().addFileNoLock(*bucket, file);
        Json::Value entry;
        entry["file"] = fileJson(file);
        Json::Value& put = entry["uploadDetails"]["put"];
        put["url"] = m_service.dataUrl(CObjectStore::fileKey(bucket->id, file.id), "PUT", expires);
        put["expires"] = Json::UInt64(expires);
        put["headers"] = headersJson(
            {{"Content-Type", "application/octet-stream"}, {"x-vx-upload-key", file.uploadKey}});
        out["files"].append(entry);
    }
    return CJson::ok(out);
}

HttpResponse CRestRoutes::updateBucketStatus(const HttpRequest& request, const RouteMatch& match) {
    Json::Value body;
    std::string token, status, message;
    HttpResponse error;
    if (!parseBucketBody(request, match, body, token, error)) return error;
    if (!CJson::getString(body, "status", status, message)) return CJson::error(400, message);
    if (!isOneOf(status, kBucketWords)) return CJson::error(400, "unknown bucket status " + status);
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = checkBucketNoLock(match.bucketId, &token, false, error);
    if (bucket == nullptr) return error;
    bucket->status = status;
    bucket->statusHistory.push_back(status);
    Json::Value out;
    out["bucket"] = bucketJson(*bucket);
    return CJson::ok(out);
}

HttpResponse CRestRoutes::getBucketStatus(const HttpRequest& request, const RouteMatch& match) {
    bool hasToken = false, hasDetail = false;
    std::string token = request.queryValue("token", &hasToken);
    std::string detail = request.queryValue("detail", &hasDetail);
    if (hasDetail && detail != "true" && detail != "false") {
        return CJson::error(400, "detail must be true or false");
    }
    HttpResponse error;
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket =
        checkBucketNoLock(match.bucketId, hasToken ? &token : nullptr, true, error);
    if (bucket == nullptr) return error;
    Json::Value out;
    out["bucket"] = bucketJson(*bucket);
    if (detail == "true") {
        Json::Value& files = out["bucket"]["files"] = Json::Value(Json::arrayValue);
        for (const auto& id : bucket->fileOrder) {
            const FileRecord& file = bucket->files.at(id);
            Json::Value entry = fileJson(file);
            if (!file.announcedMd5.empty()) entry["md5"] = file.announcedMd5;
            files.append(entry);
        }
    }
    return CJson::ok(out);
}

HttpResponse CRestRoutes::updateFileStatus(const HttpRequest& request, const RouteMatch& match) {
    Json::Value body;
    std::string token, status, message;
    std::uint64_t progress = 0;
    HttpResponse error;
    if (!parseBucketBody(request, match, body, token, error)) return error;
    if (!CJson::getString(body, "status", status, message) ||
        !CJson::getUInt64(body, "progress", progress, message)) {
        return CJson::error(400, message);
    }
    if (!isOneOf(status, kFileWords)) return CJson::error(400, "unknown file status " + status);
    std::uint64_t storedSize = 0;
    bool stored =
        m_service.store().stat(CObjectStore::fileKey(match.bucketId, match.fileId), storedSize);
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = checkBucketNoLock(match.bucketId, &token, false, error);
    if (bucket == nullptr) return error;
    FileRecord* file = checkFileNoLock(*bucket, match.fileId, error);
    if (file == nullptr) return error;
    if (status == "COMPLETED" && (!stored || storedSize != file->size)) {
        return CJson::error(409, stored ? "stored size " + std::to_string(storedSize) +
                                              " differs from the registered size " +
                                              std::to_string(file->size)
                                        : "the file's bytes have not been uploaded");
    }
    file->status = status;
    file->statusHistory.push_back(status);
    file->progressHistory.push_back(progress);
    Json::Value out;
    out["file"] = fileJson(*file);
    out["file"]["progress"] = Json::UInt64(progress);
    return CJson::ok(out);
}

bool CRestRoutes::readParts(const Json::Value& body, UploadRecord& upload, std::string& error) {
    if (!body.isMember("parts")) {
        error = "missing key 'parts'";
        return false;
    }
    const Json::Value& parts = body["parts"];
    if (parts.isNull()) return true;
    if (!parts.isArray()) {
        error = "key 'parts' is neither an array nor null";
        return false;
    }
    if (parts.size() > kMaxParts) {
        error = "more than 1000 parts";
        return false;
    }
    std::set<std::uint32_t> seen;
    std::uint64_t sum = 0;
    for (const auto& p : parts) {
        if (!p.isObject()) {
            error = "an element of 'parts' is not an object";
            return false;
        }
        PartRecord part;
        std::uint64_t number = 0;
        if (!CJson::getUInt64(p, "number", number, error) ||
            !CJson::getUInt64(p, "size", part.size, error)) {
            return false;
        }
        if (p.isMember("md5Digest") && !CJson::getNullableString(p, "md5Digest", part.md5, error)) {
            return false;
        }
        if (!part.md5.empty() && !isMd5Hex(part.md5)) {
            error = "part " + std::to_string(number) + " has a malformed md5Digest";
            return false;
        }
        if (number < 1 || number > parts.size() || !seen.insert(number).second) {
            error = "part numbers must run from 1 to " + std::to_string(parts.size()) +
                    " without repeats; got " + std::to_string(number);
            return false;
        }
        part.number = static_cast<std::uint32_t>(number);
        part.md5 = lowerHex(part.md5);
        sum += part.size;
        upload.parts.push_back(part);
    }
    if (sum != upload.size) {
        error = "the parts add up to " + std::to_string(sum) + " bytes, the file has " +
                std::to_string(upload.size);
        return false;
    }
    std::sort(upload.parts.begin(), upload.parts.end(),
              [](const PartRecord& a, const PartRecord& b) { return a.number < b.number; });
    return true;
}

HttpResponse CRestRoutes::initializeMultipart(const HttpRequest& request, const RouteMatch& match) {
    Json::Value body;
    std::string token, message;
    HttpResponse error;
    if (!parseBucketBody(request, match, body, token, error)) return error;
    UploadRecord upload;
    if (!CJson::getUInt64(body, "size", upload.size, message) ||
        !CJson::getNullableString(body, "md5Digest", upload.md5, message) ||
        !readParts(body, upload, message)) {
        return CJson::error(400, message);
    }
    if (!upload.md5.empty() && !isMd5Hex(upload.md5)) {
        return CJson::error(400, "malformed md5Digest");
    }
    upload.md5 = lowerHex(upload.md5);
    upload.id = CServiceIds::make("m", 24);
    upload.key = CServiceIds::make("k", 31);
    std::uint64_t expires = m_service.dataUrlExpiry();
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = checkBucketNoLock(match.bucketId, &token, false, error);
    if (bucket == nullptr) return error;
    FileRecord* file = checkFileNoLock(*bucket, match.fileId, error);
    if (file == nullptr) return error;
    if (upload.size != file->size) {
        return CJson::error(400, "size " + std::to_string(upload.size) +
                                     " differs from the registered size " +
                                     std::to_string(file->size));
    }
    Json::Value out;
    out["file"] = fileJson(*file);
    out["uploadId"] = upload.id;
    out["partUploadDetails"] = Json::Value(Json::arrayValue);
    for (const auto& part : upload.parts) {
        Json::Value entry;
        entry["number"] = part.number;
        entry["url"] = m_service.dataUrl(
            CObjectStore::partKey(bucket->id, file->id, upload.id, part.number), "PUT", expires);
        entry["expires"] = Json::UInt64(expires);
        entry["headers"] = headersJson(
            {{"x-vx-part-key", upload.key}, {"x-vx-part-number", std::to_string(part.number)}});
        out["partUploadDetails"].append(entry);
    }
    if (!upload.md5.empty()) file->announcedMd5 = upload.md5;
    file->uploadOrder.push_back(upload.id);
    file->uploads.emplace(upload.id, upload);
    return CJson::ok(out);
}

bool CRestRoutes::verifyAndAssemble(const std::string& bucketId, const std::string& fileId,
                                    const UploadRecord& upload, std::string& error) {
    CObjectStore& store = m_service.store();
    std::vector<std::string> keys;
    for (const auto& part : upload.parts) {
        std::string key = CObjectStore::partKey(bucketId, fileId, upload.id, part.number);
        std::uint64_t size = 0;
        if (!store.stat(key, size)) {
            error = "part " + std::to_string(part.number) + " has not been uploaded";
            return false;
        }
        if (size != part.size) {
            error = "part " + std::to_string(part.number) + " has " + std::to_string(size) +
                    " bytes, announced " + std::to_string(part.size);
            return false;
        }
        if (!part.md5.empty() && store.md5(key) != part.md5) {
            error = "part " + std::to_string(part.number) + " does not match its md5Digest";
            return false;
        }
        keys.push_back(key);
    }
    std::string fileKey = CObjectStore::fileKey(bucketId, fileId);
    if (!store.assemble(keys, fileKey, error)) return false;
    if (!upload.md5.empty() && store.md5(fileKey) != upload.md5) {
        store.remove(fileKey);
        error = "the assembled file does not match its md5Digest";
        return false;
    }
    store.removeTree(CObjectStore::uploadDirKey(bucketId, fileId, upload.id));
    return true;
}

HttpResponse CRestRoutes::completeMultipart(const HttpRequest& request, const RouteMatch& match) {
    Json::Value body;
    std::string token, uploadId, message;
    std::uint64_t numberOfParts = 0;
    HttpResponse error;
    if (!parseBucketBody(request, match, body, token, error)) return error;
    if (!CJson::getString(body, "uploadId", uploadId, message) ||
        !CJson::getUInt64(body, "numberOfParts", numberOfParts, message)) {
        return CJson::error(400, message);
    }
    UploadRecord upload;
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        BucketRecord* bucket = checkBucketNoLock(match.bucketId, &token, false, error);
        if (bucket == nullptr) return error;
        FileRecord* file = checkFileNoLock(*bucket, match.fileId, error);
        if (file == nullptr) return error;
        UploadRecord* found = checkUploadNoLock(*file, uploadId, error);
        if (found == nullptr) return error;
        if (found->state == UploadRecord::State::Completed) {
            Json::Value out;
            out["file"] = fileJson(*file);
            return CJson::ok(out);  // a repeated complete finds the work done
        }
        if (numberOfParts != found->parts.size()) {
            return CJson::error(400, "numberOfParts " + std::to_string(numberOfParts) + ", but " +
                                         std::to_string(found->parts.size()) +
                                         " parts were announced");
        }
        upload = *found;
    }
    // The disk work runs without the state's lock; parts are immutable once stored.
    if (!verifyAndAssemble(match.bucketId, match.fileId, upload, message)) {
        return CJson::error(400, message);
    }
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    FileRecord* file = m_service.state().findFileNoLock(match.bucketId, match.fileId);
    if (file == nullptr) return CJson::error(404, "the file went away");
    file->uploads[uploadId].state = UploadRecord::State::Completed;
    file->completedUploadId = uploadId;
    Json::Value out;
    out["file"] = fileJson(*file);
    return CJson::ok(out);
}

HttpResponse CRestRoutes::abortMultipart(const HttpRequest& request, const RouteMatch& match) {
    Json::Value body;
    std::string token, uploadId, message;
    HttpResponse error;
    if (!parseBucketBody(request, match, body, token, error)) return error;
    if (!CJson::getString(body, "uploadId", uploadId, message)) return CJson::error(400, message);
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = checkBucketNoLock(match.bucketId, &token, false, error);
    if (bucket == nullptr) return error;
    FileRecord* file = checkFileNoLock(*bucket, match.fileId, error);
    if (file == nullptr) return error;
    UploadRecord* upload = checkUploadNoLock(*file, uploadId, error);
    if (upload == nullptr) return error;
    if (upload->state == UploadRecord::State::Completed) {
        return CJson::error(409, "upload '" + uploadId + "' is already complete");
    }
    upload->state = UploadRecord::State::Aborted;
    m_service.store().removeTree(CObjectStore::uploadDirKey(bucket->id, file->id, uploadId));
    Json::Value out;
    out["file"] = fileJson(*file);
    return CJson::ok(out);
}

HttpResponse CRestRoutes::downloadRedirect(const HttpRequest& request, const RouteMatch& match) {
    bool hasToken = false, hasAction = false;
    std::string token = request.queryValue("token", &hasToken);
    std::string action = request.queryValue("action", &hasAction);
    if (action != "DOWNLOAD") return CJson::error(400, "action must be DOWNLOAD");
    HttpResponse error;
    std::string key = CObjectStore::fileKey(match.bucketId, match.fileId);
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket =
        checkBucketNoLock(match.bucketId, hasToken ? &token : nullptr, false, error);
    if (bucket == nullptr) return error;
    FileRecord* file = checkFileNoLock(*bucket, match.fileId, error);
    if (file == nullptr) return error;
    std::uint64_t size = 0;
    if (!m_service.store().stat(key, size)) {
        return CJson::error(404, "file '" + file->id + "' has no content yet");
    }
    std::uint64_t expires = m_service.dataUrlExpiry();
    std::string url = m_service.dataUrl(key, "GET", expires);
    Json::Value out;
    out["url"] = url;
    out["expires"] = Json::UInt64(expires);
    HttpResponse response = CJson::ok(out, 302);
    response.headers.emplace_back("Location", url);
    return response;
}

}  // namespace vxt_service
