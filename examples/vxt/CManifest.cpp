#include "CManifest.h"

#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>

namespace vxt {
namespace fs = std::filesystem;
namespace {

std::uint64_t uint64Of(const Json::Value& object, const char* key) {
    const Json::Value& value = object[key];
    return value.isUInt64() ? value.asUInt64() : 0;
}

std::string stringOf(const Json::Value& object, const char* key) {
    const Json::Value& value = object[key];
    return value.isString() ? value.asString() : std::string();
}

}  // namespace

std::uint64_t Manifest::totalBytes() const {
    std::uint64_t total = 0;
    for (const auto& file : files) total += file.size;
    return total;
}

ManifestFile* Manifest::find(const std::string& fileId) {
    auto it = std::find_if(files.begin(), files.end(),
                           [&](const ManifestFile& f) { return f.fileId == fileId; });
    return it == files.end() ? nullptr : &*it;
}

std::string CManifest::pathFor(const std::string& appDir, const std::string& bucketId) {
    return appDir + "/manifests/" + bucketId + ".json";
}

std::vector<Manifest> CManifest::loadAll(const std::string& appDir) {
    std::vector<Manifest> out;
    std::error_code ec;
    for (fs::directory_iterator it(appDir + "/manifests", ec), end; !ec && it != end;
         it.increment(ec)) {
        if (it->path().extension() != ".json") continue;
        Manifest manifest;
        std::string error;
        if (read(it->path().string(), manifest, error)) out.push_back(std::move(manifest));
    }
    std::sort(out.begin(), out.end(),
              [](const Manifest& a, const Manifest& b) { return a.createdMs < b.createdMs; });
    return out;
}

bool CManifest::write(const Manifest& manifest, const std::string& path, std::string& error) {
    Json::Value root;
    root["endpoint"] = manifest.endpoint;
    root["bucketId"] = manifest.bucketId;
    root["bucketToken"] = manifest.bucketToken;
    root["tokenExpires"] = Json::UInt64(manifest.tokenExpires);
    root["created"] = Json::UInt64(manifest.createdMs);
    root["files"] = Json::Value(Json::arrayValue);
    for (const auto& file : manifest.files) {
        Json::Value entry;
        entry["fileId"] = file.fileId;
        entry["path"] = file.path;
        entry["localPath"] = file.localPath;
        entry["size"] = Json::UInt64(file.size);
        entry["modified"] = Json::UInt64(file.modifiedMs);
        entry["md5"] = file.md5;
        entry["status"] = file.status;
        root["files"].append(entry);
    }
    std::error_code ec;
    fs::path target(path);
    if (target.has_parent_path()) fs::create_directories(target.parent_path(), ec);
    const std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "  ";
        std::unique_ptr<Json::StreamWriter> writer(builder.newStreamWriter());
        writer->write(root, &out);
        out << "\n";
        if (!out.flush()) {
            error = "cannot write " + temporary;
            return false;
        }
    }
    fs::rename(temporary, path, ec);
    if (ec) {
        error = "cannot write " + path + ": " + ec.message();
        return false;
    }
    return true;
}

bool CManifest::read(const std::string& path, Manifest& manifest, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "cannot open " + path;
        return false;
    }
    Json::Value root;
    Json::CharReaderBuilder builder;
    std::string parseError;
    if (!Json::parseFromStream(builder, in, &root, &parseError) || !root.isObject()) {
        error = path + " is not a manifest: " + parseError;
        return false;
    }
    manifest = Manifest();
    manifest.endpoint = stringOf(root, "endpoint");
    manifest.bucketId = stringOf(root, "bucketId");
    manifest.bucketToken = stringOf(root, "bucketToken");
    manifest.tokenExpires = uint64Of(root, "tokenExpires");
    manifest.createdMs = uint64Of(root, "created");
    if (manifest.bucketId.empty()) {
        error = path + " names no bucket";
        return false;
    }
    for (const auto& entry : root["files"]) {
        ManifestFile file;
        file.fileId = stringOf(entry, "fileId");
        file.path = stringOf(entry, "path");
        file.localPath = stringOf(entry, "localPath");
        file.size = uint64Of(entry, "size");
        file.modifiedMs = uint64Of(entry, "modified");
        file.md5 = stringOf(entry, "md5");
        file.status = stringOf(entry, "status");
        manifest.files.push_back(file);
    }
    return true;
}

}  // namespace vxt
