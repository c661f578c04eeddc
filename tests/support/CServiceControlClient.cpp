#include "support/CServiceControlClient.h"

#include <Poco/Base64Encoder.h>
#include <strings.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "support/CJsonHttpClient.h"

namespace vxt_test {
namespace {

const char* actionName(CServiceControlClient::FaultAction action) {
    using A = CServiceControlClient::FaultAction;
    switch (action) {
        case A::None:
            return "none";
        case A::CloseBeforeHeaders:
            return "close-before-headers";
        case A::CloseAfterHeaders:
            return "close-after-headers";
        case A::TruncateBody:
            return "truncate-body";
        case A::IgnoreRange:
            return "ignore-range";
        case A::RedirectLoop:
            return "redirect-loop";
        case A::ExpiredUrl:
            return "expired-url";
    }
    return "none";
}

std::vector<std::pair<std::string, std::string>> pairsFrom(const Json::Value& array) {
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto& pair : array) out.emplace_back(pair[0].asString(), pair[1].asString());
    return out;
}

std::vector<std::string> stringsFrom(const Json::Value& array) {
    std::vector<std::string> out;
    for (const auto& s : array) out.push_back(s.asString());
    return out;
}

CServiceControlClient::RequestRecord recordFrom(const Json::Value& e) {
    CServiceControlClient::RequestRecord r;
    r.seq = e["seq"].asUInt64();
    r.connectionId = e["connectionId"].asUInt64();
    r.route = e["route"].asString();
    r.method = e["method"].asString();
    r.target = e["target"].asString();
    r.path = e["path"].asString();
    r.query = pairsFrom(e["query"]);
    r.headers = pairsFrom(e["headers"]);
    r.body = e["body"].asString();
    if (!r.body.empty() && !CJsonHttpClient::parseJson(r.body, r.json)) r.json = Json::Value();
    r.bodyBytes = e["bodyBytes"].asUInt64();
    r.status = e["status"].asInt();
    r.responseBodyBytes = e["responseBodyBytes"].asUInt64();
    r.startMicros = e["startMicros"].asUInt64();
    r.endMicros = e["endMicros"].asUInt64();
    r.faulted = e["faulted"].asBool();
    r.finished = e["finished"].asBool();
    return r;
}

CServiceControlClient::BucketInfo bucketFrom(const Json::Value& v) {
    CServiceControlClient::BucketInfo b;
    b.bucketId = v["bucketId"].asString();
    b.token = v["token"].asString();
    b.tokenExpires = v["tokenExpires"].asUInt64();
    b.status = v["status"].asString();
    b.statusHistory = stringsFrom(v["statusHistory"]);
    b.fileIds = stringsFrom(v["fileIds"]);
    return b;
}

CServiceControlClient::FileInfo fileFrom(const Json::Value& v) {
    CServiceControlClient::FileInfo f;
    f.fileId = v["fileId"].asString();
    f.bucketId = v["bucketId"].asString();
    f.name = v["name"].asString();
    f.declaredSize = v["declaredSize"].asUInt64();
    f.stored = v["stored"].asBool();
    f.storedSize = v["storedSize"].asUInt64();
    f.md5 = v["md5"].asString();
    f.announcedMd5 = v["announcedMd5"].asString();
    f.modifiedMs = v["modifiedMs"].asUInt64();
    f.storagePath = v["storagePath"].asString();
    f.status = v["status"].asString();
    f.statusHistory = stringsFrom(v["statusHistory"]);
    for (const auto& p : v["progressHistory"]) f.progressHistory.push_back(p.asUInt64());
    f.uploadIds = stringsFrom(v["uploadIds"]);
    f.completedUploadId = v["completedUploadId"].asString();
    return f;
}

}  // namespace

std::string CServiceControlClient::RequestRecord::header(const std::string& name) const {
    for (const auto& h : headers) {
        if (h.first.size() == name.size() && ::strcasecmp(h.first.c_str(), name.c_str()) == 0) {
            return h.second;
        }
    }
    return std::string();
}

std::string CServiceControlClient::RequestRecord::queryValue(const std::string& key) const {
    for (const auto& q : query) {
        if (q.first == key) return q.second;
    }
    return std::string();
}

CServiceControlClient::CServiceControlClient(std::string rootUrl) : m_rootUrl(std::move(rootUrl)) {
    while (!m_rootUrl.empty() && m_rootUrl.back() == '/') m_rootUrl.pop_back();
}

Json::Value CServiceControlClient::call(const std::string& method, const std::string& path,
                                        const Json::Value& body) {
    CJsonHttpClient client(m_rootUrl, std::chrono::seconds(60));
    CJsonHttpClient::Response response =
        body.isNull() ? client.send(method, "/_control" + path)
                      : client.send(method, "/_control" + path, CJsonHttpClient::toJson(body),
                                    {{"Content-Type", "application/json"}});
    if (response.status != 200) {
        throw std::runtime_error("control " + method + " " + path + " answered " +
                                 std::to_string(response.status) + ": " + response.body);
    }
    return response.json;
}

void CServiceControlClient::reset() { call("POST", "/reset"); }

CServiceControlClient::BucketInfo CServiceControlClient::createBucket(const std::string& bucketId,
                                                                      const std::string& token) {
    Json::Value body(Json::objectValue);
    if (!bucketId.empty()) body["bucketId"] = bucketId;
    if (!token.empty()) body["token"] = token;
    return bucketFrom(call("POST", "/buckets", body));
}

CServiceControlClient::FileInfo CServiceControlClient::seedFile(const std::string& bucketId,
                                                                const SeedFile& file) {
    Json::Value body(Json::objectValue);
    body["name"] = file.name;
    if (!file.content.empty() || file.size == 0) {
        std::ostringstream encoded;
        Poco::Base64Encoder encoder(encoded);
        encoder.rdbuf()->setLineLength(0);
        encoder << file.content;
        encoder.close();
        body["contentBase64"] = encoded.str();
    } else {
        body["size"] = Json::UInt64(file.size);
        body["seed"] = file.seed;
    }
    body["modifiedMs"] = Json::UInt64(file.modifiedMs);
    if (!file.md5.empty()) body["md5"] = file.md5;
    return fileFrom(call("POST", "/buckets/" + bucketId + "/seed", body));
}

CServiceControlClient::UploadTarget CServiceControlClient::registerUpload(
    const std::string& bucketId, const std::string& name, std::uint64_t size) {
    Json::Value body;
    body["name"] = name;
    body["size"] = Json::UInt64(size);
    Json::Value v = call("POST", "/buckets/" + bucketId + "/uploads", body);
    UploadTarget target;
    target.fileId = v["fileId"].asString();
    target.url = v["url"].asString();
    target.expires = v["expires"].asUInt64();
    target.headers = pairsFrom(v["headers"]);
    return target;
}

void CServiceControlClient::setBucketStatus(const std::string& bucketId,
                                            const std::string& status) {
    Json::Value body;
    body["status"] = status;
    call("POST", "/buckets/" + bucketId + "/status", body);
}

std::string CServiceControlClient::issueUserToken() {
    return call("POST", "/users/token", Json::Value(Json::objectValue))["token"].asString();
}

CServiceControlClient::BucketInfo CServiceControlClient::bucket(const std::string& bucketId) {
    return bucketFrom(call("GET", "/buckets/" + bucketId));
}

CServiceControlClient::FileInfo CServiceControlClient::file(const std::string& bucketId,
                                                            const std::string& fileId) {
    return fileFrom(call("GET", "/buckets/" + bucketId + "/files/" + fileId));
}

CServiceControlClient::Stats CServiceControlClient::stats() {
    Json::Value v = call("GET", "/stats");
    Stats s;
    s.currentDataConnections = v["currentDataConnections"].asUInt();
    s.maxConcurrentDataConnections = v["maxConcurrentDataConnections"].asUInt();
    s.connectionsAccepted = v["connectionsAccepted"].asUInt64();
    s.requestsServed = v["requestsServed"].asUInt64();
    return s;
}

void CServiceControlClient::resetStats() {
    call("POST", "/stats/reset", Json::Value(Json::objectValue));
}

void CServiceControlClient::injectFault(const Fault& fault) {
    Json::Value body;
    body["route"] = fault.route;
    body["method"] = fault.method;
    body["pathContains"] = fault.pathContains;
    body["count"] = fault.count;
    body["status"] = fault.status;
    body["delayMs"] = fault.delayMs;
    body["action"] = actionName(fault.action);
    body["afterBytes"] = Json::UInt64(fault.afterBytes);
    body["location"] = fault.location;
    call("POST", "/faults", body);
}

void CServiceControlClient::clearFaults() { call("DELETE", "/faults"); }

void CServiceControlClient::expireDataUrlsNow() {
    call("POST", "/expire-data-urls", Json::Value(Json::objectValue));
}

void CServiceControlClient::throttleData(std::uint64_t bytesPerSecond) {
    Json::Value body;
    body["bytesPerSecond"] = Json::UInt64(bytesPerSecond);
    call("POST", "/throttle", body);
}

void CServiceControlClient::setDataServer(const std::string& baseUrl, const std::string& rootDir) {
    Json::Value body(Json::objectValue);
    body["baseUrl"] = baseUrl;
    body["rootDir"] = rootDir;
    call("POST", "/data-server", body);
}

std::vector<CServiceControlClient::RequestRecord> CServiceControlClient::requests(
    std::uint64_t afterSeq) {
    Json::Value v = call("GET", "/log?after=" + std::to_string(afterSeq));
    std::vector<RequestRecord> out;
    for (const auto& e : v["entries"]) out.push_back(recordFrom(e));
    return out;
}

std::vector<CServiceControlClient::RequestRecord> CServiceControlClient::requests(
    const std::string& route) {
    auto all = requests(std::uint64_t{0});
    all.erase(std::remove_if(all.begin(), all.end(),
                             [&](const RequestRecord& r) { return r.route != route; }),
              all.end());
    return all;
}

CServiceControlClient::RequestRecord CServiceControlClient::waitForRequest(
    const std::function<bool(const RequestRecord&)>& predicate, std::chrono::milliseconds timeout,
    const std::string& what) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    std::uint64_t after = 0;
    std::string version;
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        std::string path = "/log?after=" + std::to_string(after);
        if (!version.empty()) {
            if (left.count() <= 0) break;
            // The service answers as soon as the log changes, or when this wait runs out.
            path += "&version=" + version + "&waitMs=" + std::to_string(left.count());
        }
        Json::Value v = call("GET", path);
        version = std::to_string(v["version"].asUInt64());
        std::uint64_t nextAfter = after;
        bool inFlight = false;
        for (const auto& e : v["entries"]) {
            RequestRecord r = recordFrom(e);
            if (predicate(r)) return r;
            // Requests still being served are looked at again once they finish.
            if (!r.finished && !inFlight) {
                inFlight = true;
                nextAfter = r.seq - 1;
            }
            if (!inFlight) nextAfter = r.seq;
        }
        after = nextAfter;
    }
    throw std::runtime_error("timed out after " + std::to_string(timeout.count()) +
                             " ms waiting for " + what);
}

CServiceControlClient::RequestRecord CServiceControlClient::waitForRoute(
    const std::string& route, std::chrono::milliseconds timeout, int status) {
    return waitForRequest(
        [&](const RequestRecord& r) {
            return r.route == route && r.finished && (status == 0 || r.status == status);
        },
        timeout, "route " + route + (status ? " with status " + std::to_string(status) : ""));
}

}  // namespace vxt_test
