// Stored bytes on disk, under one root folder: whole files at "b/<bucket>/<file>" and multipart
// parts at "mp/<bucket>/<file>/<upload>/<number>". The same layout is what an external data
// server (nginx) serves and receives when the root is its document root, so the service can
// judge uploads that never passed through it.
//
// Writers go through a temporary file that is renamed into place when complete, so a key either
// holds a complete body or nothing.
#ifndef VXT_SERVICE_COBJECTSTORE_H
#define VXT_SERVICE_COBJECTSTORE_H

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace vxt_service {

class CObjectStore {
public:
    explicit CObjectStore(std::string root);

    static std::string fileKey(const std::string& bucketId, const std::string& fileId);
    static std::string partKey(const std::string& bucketId, const std::string& fileId,
                               const std::string& uploadId, std::uint32_t number);
    static std::string uploadDirKey(const std::string& bucketId, const std::string& fileId,
                                    const std::string& uploadId);

    void setRoot(const std::string& root);
    std::string root() const;
    std::string pathOf(const std::string& key) const;

    // False when nothing is stored under `key`.
    bool stat(const std::string& key, std::uint64_t& size) const;
    // MD5 of the stored bytes (lower-case hex), cached while the file is unchanged; "" if absent.
    std::string md5(const std::string& key);

    // A fresh temporary path under the root; commit() moves it to `key`.
    std::string makeTempPath() const;
    void commit(const std::string& tempPath, const std::string& key);

    void writeContent(const std::string& key, const std::string& content);
    // `size` bytes of the sequence generateInto() gives for `seed`.
    void writeGenerated(const std::string& key, std::uint64_t size, std::uint32_t seed);
    // Deterministic filler: the bytes of the sequence for `seed` from `offset` on.
    static void generateInto(char* out, std::size_t size, std::uint32_t seed, std::uint64_t offset);

    // Concatenates the parts, in order, into `key`. False with a reason when a part is missing.
    bool assemble(const std::vector<std::string>& partKeys, const std::string& key,
                  std::string& error);
    void remove(const std::string& key);
    void removeTree(const std::string& key);
    // Deletes everything the store holds.
    void clear();

private:
    struct Md5Cache {
        std::uint64_t size = 0;
        std::int64_t mtimeNs = 0;
        std::string md5;
    };

    mutable std::mutex m_mutex;
    std::string m_root;                     // guarded by m_mutex
    std::map<std::string, Md5Cache> m_md5;  // by path, guarded by m_mutex
};

}  // namespace vxt_service

#endif
