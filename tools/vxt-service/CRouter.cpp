#include "vxt-service/CRouter.h"

#include <vector>

namespace vxt_service {
namespace {

std::vector<std::string> splitPath(const std::string& path) {
    // "/a/b//c" gives {"a", "b", "", "c"}: empty segments are kept, they are empty ids.
    std::vector<std::string> out;
    std::size_t start = 1;
    while (start <= path.size()) {
        std::size_t slash = path.find('/', start);
        if (slash == std::string::npos) slash = path.size();
        out.push_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    return out;
}

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

RouteMatch CRouter::classify(const HttpRequest& request, const std::string& restPrefix) {
    const std::string& path = request.path;
    if (path == "/_control" || startsWith(path, "/_control/")) {
        RouteMatch match;
        match.kind = RouteMatch::Kind::Control;
        match.name = "control";
        return match;
    }
    if (startsWith(path, "/data/")) return classifyData(request);
    if (!restPrefix.empty()) {
        if (!startsWith(path, restPrefix + "/")) return RouteMatch();
        return classifyRest(request, path.substr(restPrefix.size()));
    }
    return classifyRest(request, path);
}

RouteMatch CRouter::classifyData(const HttpRequest& request) {
    RouteMatch match;
    auto seg = splitPath(request.path);  // "data", kind, ...
    bool put = request.method == "PUT";
    if (seg.size() == 4 && seg[1] == "b") {
        match.kind = RouteMatch::Kind::Data;
        match.name = put ? "data.put" : "data.get";
        match.bucketId = seg[2];
        match.fileId = seg[3];
    } else if (seg.size() == 6 && seg[1] == "mp") {
        match.kind = RouteMatch::Kind::Data;
        match.name = "data.put";
        match.bucketId = seg[2];
        match.fileId = seg[3];
        match.uploadId = seg[4];
        const std::string& number = seg[5];
        if (number.empty() || number.size() > 5 ||
            number.find_first_not_of("0123456789") != std::string::npos) {
            return RouteMatch();
        }
        match.partNumber = static_cast<std::uint32_t>(std::stoul(number));
        if (match.partNumber == 0) return RouteMatch();
    }
    return match;
}

RouteMatch CRouter::classifyRest(const HttpRequest& request, const std::string& path) {
    RouteMatch match;
    match.restPath = path;
    auto seg = splitPath(path);
    auto named = [&](const char* name) {
        match.kind = RouteMatch::Kind::Rest;
        match.name = name;
        return match;
    };
    if (path == "/login") return named("login");
    if (seg.size() < 4 || seg[0] != "api" || seg[1] != "v2" || seg[2] != "bucket") return match;
    match.bucketId = seg[3];
    if (seg.size() == 4) {
        if (seg[3] == "message" && request.method == "POST") {
            match.bucketId.clear();
            return named("bucket.create");
        }
        return named("bucket.status.get");
    }
    if (seg.size() == 5 && seg[4] == "files") return named("bucket.files");
    if (seg.size() == 5 && seg[4] == "status") return named("bucket.status.update");
    if (seg.size() < 6 || seg[4] != "file") return match;
    match.fileId = seg[5];
    if (seg.size() == 7 && seg[6] == "status") return named("file.status");
    if (seg.size() == 7 && seg[6] == "download") return named("file.download");
    if (seg.size() == 9 && seg[6] == "upload" && seg[7] == "multipart") {
        if (seg[8] == "initialize") return named("multipart.initialize");
        if (seg[8] == "complete") return named("multipart.complete");
        if (seg[8] == "abort") return named("multipart.abort");
    }
    return match;
}

}  // namespace vxt_service
