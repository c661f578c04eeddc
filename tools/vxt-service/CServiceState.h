// The service's bookkeeping: users' tokens, buckets, their files and multipart uploads. Bytes
// live on disk (CObjectStore); this holds only what the routes need to decide.
#ifndef VXT_SERVICE_CSERVICESTATE_H
#define VXT_SERVICE_CSERVICESTATE_H

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace vxt_service {

struct PartRecord {
    std::uint32_t number = 0;
    std::uint64_t size = 0;
    std::string md5;  // announced digest, lower-case hex, or ""
};

struct UploadRecord {
    enum class State { Open, Completed, Aborted };
    std::string id;
    std::uint64_t size = 0;
    std::string md5;                // announced digest of the whole file, or ""
    std::vector<PartRecord> parts;  // ascending by number, numbers 1..n
    std::string key;                // value the parts' x-vx-part-key header must carry
    State state = State::Open;
};

struct FileRecord {
    std::string id;
    std::string bucketId;
    std::string name;
    std::uint64_t size = 0;  // declared size
    std::string uploadKey;   // value the whole-file PUT's x-vx-upload-key must carry
    std::uint64_t modifiedMs = 0;
    std::string announcedMd5;
    std::string status = "INITIALIZED";
    std::vector<std::string> statusHistory;
    std::vector<std::uint64_t> progressHistory;
    std::vector<std::string> uploadOrder;
    std::map<std::string, UploadRecord> uploads;
    std::string completedUploadId;
};

struct BucketRecord {
    std::string id;
    std::string token;
    std::uint64_t tokenExpiresMs = 0;
    std::string type = "message";
    std::string status = "INITIALIZED";
    std::vector<std::string> statusHistory;
    std::vector<std::string> fileOrder;
    std::map<std::string, FileRecord> files;

    // EXPIRED and DELETED buckets accept nothing but status reads.
    bool live() const { return status != "EXPIRED" && status != "DELETED"; }
};

class CServiceState {
public:
    std::mutex& mutex() { return m_mutex; }

    std::string issueUserTokenNoLock(std::uint64_t expiresMs);
    bool userTokenValidNoLock(const std::string& token, std::uint64_t nowMs) const;

    BucketRecord* findBucketNoLock(const std::string& bucketId);
    FileRecord* findFileNoLock(const std::string& bucketId, const std::string& fileId);
    // Adds a bucket; false when the id is taken.
    bool addBucketNoLock(const BucketRecord& bucket);
    // Adds a file to an existing bucket; false when the id is taken.
    bool addFileNoLock(BucketRecord& bucket, const FileRecord& file);

    // Forgets buckets and files; user tokens stay valid.
    void clearNoLock();

private:
    std::mutex m_mutex;
    std::map<std::string, std::uint64_t> m_userTokens;  // token -> expiry, guarded by m_mutex
    std::map<std::string, BucketRecord> m_buckets;      // guarded by m_mutex
};

}  // namespace vxt_service

#endif
