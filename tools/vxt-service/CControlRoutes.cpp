#include "vxt-service/CControlRoutes.h"

#include <Poco/Base64Decoder.h>

#include <algorithm>
#include <chrono>
#include <sstream>

#include "vxt-service/CJson.h"
#include "vxt-service/CObjectStore.h"
#include "vxt-service/CRestRoutes.h"
#include "vxt-service/CServiceIds.h"
#include "vxt-service/CServiceImpl.h"

namespace vxt_service {
namespace {

std::vector<std::string> segments(const std::string& path) {
    std::vector<std::string> out;
    std::istringstream in(path);
    std::string part;
    while (std::getline(in, part, '/')) {
        if (!part.empty()) out.push_back(part);
    }
    return out;  // "_control", ...
}

Json::Value pairsJson(const std::vector<std::pair<std::string, std::string>>& pairs) {
    Json::Value out(Json::arrayValue);
    for (const auto& p : pairs) {
        Json::Value pair(Json::arrayValue);
        pair.append(p.first);
        pair.append(p.second);
        out.append(pair);
    }
    return out;
}

Json::Value entryJson(const RequestLogEntry& e) {
    Json::Value out;
    out["seq"] = Json::UInt64(e.seq);
    out["connectionId"] = Json::UInt64(e.connectionId);
    out["route"] = e.route;
    out["method"] = e.method;
    out["target"] = e.target;
    out["path"] = e.path;
    out["query"] = pairsJson(e.query);
    out["headers"] = pairsJson(e.headers);
    out["body"] = e.body;
    out["bodyBytes"] = Json::UInt64(e.bodyBytes);
    out["status"] = e.status;
    out["responseBodyBytes"] = Json::UInt64(e.responseBodyBytes);
    out["startMicros"] = Json::UInt64(e.startMicros);
    out["endMicros"] = Json::UInt64(e.endMicros);
    out["faulted"] = e.faulted;
    out["finished"] = e.finished;
    return out;
}

std::uint64_t optionalUInt(const Json::Value& body, const char* key, std::uint64_t fallback) {
    return body.isMember(key) && body[key].isUInt64() ? body[key].asUInt64() : fallback;
}

std::string optionalString(const Json::Value& body, const char* key) {
    return body.isMember(key) && body[key].isString() ? body[key].asString() : std::string();
}

}  // namespace

HttpResponse CControlRoutes::handle(const HttpRequest& request) {
    Json::Value body;
    if (!request.body.empty()) {
        std::string error;
        if (!CJson::parseObject(request.body, body, error)) return CJson::error(400, error);
    }
    try {
        return route(request, segments(request.path), body);
    } catch (const std::exception& e) {
        return CJson::error(500, e.what());
    }
}

HttpResponse CControlRoutes::route(const HttpRequest& request, const std::vector<std::string>& seg,
                                   const Json::Value& body) {
    const std::string& m = request.method;
    const std::size_t n = seg.size();
    auto is = [&](std::size_t count, const char* method, const char* first) {
        return n == count && m == method && seg[1] == first;
    };
    if (n < 2) return CJson::error(404, "no such control route");
    if (is(2, "GET", "health")) return CJson::ok(Json::Value(Json::objectValue));
    if (is(2, "POST", "reset")) {
        m_service.reset();
        return CJson::ok(Json::Value(Json::objectValue));
    }
    if (is(2, "POST", "buckets")) return createBucket(body);
    if (is(3, "GET", "buckets")) return bucketInfo(seg[2]);
    if (is(4, "POST", "buckets") && seg[3] == "status") return setBucketStatus(seg[2], body);
    if (is(4, "POST", "buckets") && seg[3] == "seed") return seedFile(seg[2], body);
    if (is(4, "POST", "buckets") && seg[3] == "uploads") return registerUpload(seg[2], body);
    if (is(5, "GET", "buckets") && seg[3] == "files") return fileInfo(seg[2], seg[4]);
    if (is(3, "POST", "users") && seg[2] == "token") return issueUserToken();
    if (is(2, "GET", "stats")) return stats();
    if (is(3, "POST", "stats") && seg[2] == "reset") {
        m_service.resetStats();
        return stats();
    }
    if (is(2, "POST", "faults")) return addFault(body);
    if (is(2, "DELETE", "faults")) {
        m_service.faults().clear();
        return CJson::ok(Json::Value(Json::objectValue));
    }
    if (is(2, "POST", "expire-data-urls")) {
        m_service.signer().expireAll();
        return CJson::ok(Json::Value(Json::objectValue));
    }
    if (is(2, "POST", "throttle")) return setThrottle(body);
    if (is(2, "POST", "data-server")) return setDataServer(body);
    if (is(2, "GET", "log")) return readLog(request);
    return CJson::error(404, "no such control route");
}

HttpResponse CControlRoutes::createBucket(const Json::Value& body) {
    BucketRecord bucket;
    bucket.id = optionalString(body, "bucketId");
    bucket.token = optionalString(body, "token");
    if (bucket.id.empty()) bucket.id = CServiceIds::make("b", 20);
    if (bucket.token.empty()) bucket.token = CServiceIds::make("t", 31);
    if (!CServiceIds::isSafe(bucket.id)) return CJson::error(400, "unsafe bucket id");
    bucket.tokenExpiresMs =
        CServiceIds::nowMs() + m_service.config().tokenLifetimeSeconds * 1000ULL;
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        if (!m_service.state().addBucketNoLock(bucket)) {
            return CJson::error(409, "bucket '" + bucket.id + "' exists");
        }
    }
    return bucketInfo(bucket.id);
}

HttpResponse CControlRoutes::bucketInfo(const std::string& bucketId) {
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = m_service.state().findBucketNoLock(bucketId);
    if (bucket == nullptr) return CJson::error(404, "no bucket '" + bucketId + "'");
    Json::Value out;
    out["bucketId"] = bucket->id;
    out["token"] = bucket->token;
    out["tokenExpires"] = Json::UInt64(bucket->tokenExpiresMs);
    out["status"] = bucket->status;
    out["statusHistory"] = Json::Value(Json::arrayValue);
    for (const auto& s : bucket->statusHistory) out["statusHistory"].append(s);
    out["fileIds"] = Json::Value(Json::arrayValue);
    for (const auto& id : bucket->fileOrder) out["fileIds"].append(id);
    return CJson::ok(out);
}

HttpResponse CControlRoutes::setBucketStatus(const std::string& bucketId, const Json::Value& body) {
    std::string status, error;
    if (!CJson::getString(body, "status", status, error)) return CJson::error(400, error);
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        BucketRecord* bucket = m_service.state().findBucketNoLock(bucketId);
        if (bucket == nullptr) return CJson::error(404, "no bucket '" + bucketId + "'");
        bucket->status = status;
    }
    return bucketInfo(bucketId);
}

HttpResponse CControlRoutes::seedFile(const std::string& bucketId, const Json::Value& body) {
    FileRecord file;
    file.id = optionalString(body, "fileId");
    if (file.id.empty()) file.id = CServiceIds::make("f", 20);
    if (!CServiceIds::isSafe(file.id)) return CJson::error(400, "unsafe file id");
    file.bucketId = bucketId;
    file.name = optionalString(body, "name");
    if (file.name.empty()) file.name = file.id;
    file.modifiedMs = optionalUInt(body, "modifiedMs", CServiceIds::nowMs());
    file.uploadKey = CServiceIds::make("k", 31);
    file.status = "COMPLETED";
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        if (m_service.state().findBucketNoLock(bucketId) == nullptr) {
            return CJson::error(404, "no bucket '" + bucketId + "'");
        }
        if (m_service.state().findFileNoLock(bucketId, file.id) != nullptr) {
            return CJson::error(409, "file '" + file.id + "' exists");
        }
    }
    std::string key = CObjectStore::fileKey(bucketId, file.id);
    if (body.isMember("contentBase64")) {
        std::istringstream in(optionalString(body, "contentBase64"));
        Poco::Base64Decoder decoder(in);
        std::string content((std::istreambuf_iterator<char>(decoder)),
                            std::istreambuf_iterator<char>());
        m_service.store().writeContent(key, content);
        file.size = content.size();
    } else {
        file.size = optionalUInt(body, "size", 0);
        m_service.store().writeGenerated(key, file.size,
                                         static_cast<std::uint32_t>(optionalUInt(body, "seed", 1)));
    }
    file.announcedMd5 = optionalString(body, "md5");
    if (file.announcedMd5.empty()) file.announcedMd5 = m_service.store().md5(key);
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        BucketRecord* bucket = m_service.state().findBucketNoLock(bucketId);
        if (bucket == nullptr) return CJson::error(404, "the bucket went away");
        m_service.state().addFileNoLock(*bucket, file);
    }
    return fileInfo(bucketId, file.id);
}

HttpResponse CControlRoutes::registerUpload(const std::string& bucketId, const Json::Value& body) {
    FileRecord file;
    std::string error;
    if (!CJson::getString(body, "name", file.name, error) ||
        !CJson::getUInt64(body, "size", file.size, error)) {
        return CJson::error(400, error);
    }
    file.id = CServiceIds::make("f", 20);
    file.bucketId = bucketId;
    file.uploadKey = CServiceIds::make("k", 31);
    file.modifiedMs = CServiceIds::nowMs();
    std::uint64_t expires = m_service.dataUrlExpiry();
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = m_service.state().findBucketNoLock(bucketId);
    if (bucket == nullptr) return CJson::error(404, "no bucket '" + bucketId + "'");
    m_service.state().addFileNoLock(*bucket, file);
    Json::Value out;
    out["fileId"] = file.id;
    out["url"] = m_service.dataUrl(CObjectStore::fileKey(bucketId, file.id), "PUT", expires);
    out["expires"] = Json::UInt64(expires);
    out["headers"] = pairsJson(
        {{"Content-Type", "application/octet-stream"}, {"x-vx-upload-key", file.uploadKey}});
    return CJson::ok(out);
}

HttpResponse CControlRoutes::fileInfo(const std::string& bucketId, const std::string& fileId) {
    FileRecord file;
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        FileRecord* found = m_service.state().findFileNoLock(bucketId, fileId);
        if (found == nullptr) return CJson::error(404, "no file '" + fileId + "'");
        file = *found;
    }
    std::string key = CObjectStore::fileKey(bucketId, fileId);
    std::uint64_t storedSize = 0;
    bool stored = m_service.store().stat(key, storedSize);
    Json::Value out;
    out["fileId"] = file.id;
    out["bucketId"] = file.bucketId;
    out["name"] = file.name;
    out["declaredSize"] = Json::UInt64(file.size);
    out["stored"] = stored;
    out["storedSize"] = Json::UInt64(storedSize);
    out["md5"] = stored ? m_service.store().md5(key) : std::string();
    out["announcedMd5"] = file.announcedMd5;
    out["modifiedMs"] = Json::UInt64(file.modifiedMs);
    out["storagePath"] = m_service.store().pathOf(key);
    out["status"] = file.status;
    out["statusHistory"] = Json::Value(Json::arrayValue);
    for (const auto& s : file.statusHistory) out["statusHistory"].append(s);
    out["progressHistory"] = Json::Value(Json::arrayValue);
    for (auto p : file.progressHistory) out["progressHistory"].append(Json::UInt64(p));
    out["uploadIds"] = Json::Value(Json::arrayValue);
    for (const auto& id : file.uploadOrder) out["uploadIds"].append(id);
    out["completedUploadId"] = file.completedUploadId;
    return CJson::ok(out);
}

HttpResponse CControlRoutes::addFault(const Json::Value& body) {
    FaultRule fault;
    fault.route = optionalString(body, "route");
    if (fault.route.empty()) fault.route = "any";
    fault.method = optionalString(body, "method");
    fault.pathContains = optionalString(body, "pathContains");
    fault.count = body.isMember("count") && body["count"].isInt() ? body["count"].asInt() : 1;
    fault.status = body.isMember("status") && body["status"].isInt() ? body["status"].asInt() : 0;
    fault.delayMs = static_cast<unsigned int>(optionalUInt(body, "delayMs", 0));
    fault.afterBytes = optionalUInt(body, "afterBytes", 0);
    fault.location = optionalString(body, "location");
    std::string action = optionalString(body, "action");
    if (!action.empty() && !CFaultTable::actionFromName(action, fault.action)) {
        return CJson::error(400, "unknown fault action " + action);
    }
    if (fault.count == 0 || fault.count < -1) return CJson::error(400, "count must be -1 or >= 1");
    if (fault.status != 0 && (fault.status < 100 || fault.status > 599)) {
        return CJson::error(400, "status out of range");
    }
    if (!fault.active()) return CJson::error(400, "the fault does nothing");
    m_service.faults().add(fault);
    return CJson::ok(Json::Value(Json::objectValue));
}

HttpResponse CControlRoutes::readLog(const HttpRequest& request) {
    auto number = [&](const char* key) {
        std::string text = request.queryValue(key);
        return text.empty() || text.find_first_not_of("0123456789") != std::string::npos
                   ? 0ULL
                   : std::stoull(text);
    };
    std::uint64_t after = number("after");
    std::uint64_t waitMs = std::min<std::uint64_t>(number("waitMs"), 30000);
    std::uint64_t version = 0;
    auto entries = m_service.log().entriesAfter(after, version);
    bool hasVersion = !request.queryValue("version").empty();
    if (waitMs > 0 && hasVersion && version == number("version")) {
        // Long poll: the caller has seen this version and wants the next change.
        m_service.log().waitForChange(version, std::chrono::milliseconds(waitMs));
        entries = m_service.log().entriesAfter(after, version);
    }
    Json::Value out;
    out["version"] = Json::UInt64(version);
    out["entries"] = Json::Value(Json::arrayValue);
    for (const auto& e : entries) out["entries"].append(entryJson(e));
    return CJson::ok(out);
}

HttpResponse CControlRoutes::stats() {
    ServiceStats s = m_service.stats();
    Json::Value out;
    out["currentDataConnections"] = s.currentDataConnections;
    out["maxConcurrentDataConnections"] = s.maxConcurrentDataConnections;
    out["connectionsAccepted"] = Json::UInt64(s.connectionsAccepted);
    out["requestsServed"] = Json::UInt64(s.requestsServed);
    return CJson::ok(out);
}

HttpResponse CControlRoutes::issueUserToken() {
    std::uint64_t expires =
        CServiceIds::nowMs() + m_service.config().tokenLifetimeSeconds * 1000ULL;
    Json::Value out;
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    out["token"] = m_service.state().issueUserTokenNoLock(expires);
    out["tokenExpires"] = Json::UInt64(expires);
    return CJson::ok(out);
}

HttpResponse CControlRoutes::setDataServer(const Json::Value& body) {
    std::string url = optionalString(body, "baseUrl");
    std::string root = optionalString(body, "rootDir");
    if (url.empty() != root.empty()) return CJson::error(400, "give both baseUrl and rootDir");
    m_service.setDataServer(url, root);
    return CJson::ok(Json::Value(Json::objectValue));
}

HttpResponse CControlRoutes::setThrottle(const Json::Value& body) {
    std::uint64_t rate = 0;
    std::string error;
    if (!CJson::getUInt64(body, "bytesPerSecond", rate, error)) return CJson::error(400, error);
    m_service.setThrottle(rate);
    return CJson::ok(Json::Value(Json::objectValue));
}

}  // namespace vxt_service
