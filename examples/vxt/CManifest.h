// What one `vxt upload` made on the service, written as JSON so that a later download (or a
// person) can find every file again: the bucket's id and token, and for each file its id,
// relative path, size, modification time and MD5. Kept in the application folder as
// "manifests/<bucketId>.json", which is also how `vxt upload --resume` names its files.
#ifndef VXT_CMANIFEST_H
#define VXT_CMANIFEST_H

#include <cstdint>
#include <string>
#include <vector>

namespace vxt {

struct ManifestFile {
    std::string fileId;
    std::string path;       // relative path, '/'-separated
    std::string localPath;  // where it was read from
    std::uint64_t size = 0;
    std::uint64_t modifiedMs = 0;
    std::string md5;                 // lower-case hex; empty until computed
    std::string status = "pending";  // "pending", "completed" or "failed"
};

struct Manifest {
    std::string endpoint;
    std::string bucketId;
    std::string bucketToken;
    std::uint64_t tokenExpires = 0;
    std::uint64_t createdMs = 0;
    std::vector<ManifestFile> files;

    std::uint64_t totalBytes() const;
    // The entry of that file id, or null.
    ManifestFile* find(const std::string& fileId);
};

class CManifest {
public:
    // "<appDir>/manifests/<bucketId>.json"
    static std::string pathFor(const std::string& appDir, const std::string& bucketId);
    // Every manifest in the application folder, oldest first; unreadable ones are skipped.
    static std::vector<Manifest> loadAll(const std::string& appDir);

    // Writes through a temporary file and a rename, so a reader never sees half a manifest.
    static bool write(const Manifest& manifest, const std::string& path, std::string& error);
    static bool read(const std::string& path, Manifest& manifest, std::string& error);
};

}  // namespace vxt

#endif
