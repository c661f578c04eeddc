#include "vxt-service/CServiceState.h"

#include "vxt-service/CServiceIds.h"

namespace vxt_service {

std::string CServiceState::issueUserTokenNoLock(std::uint64_t expiresMs) {
    std::string token = CServiceIds::make("u", 39);
    m_userTokens[token] = expiresMs;
    return token;
}

bool CServiceState::userTokenValidNoLock(const std::string& token, std::uint64_t nowMs) const {
    auto it = m_userTokens.find(token);
    return it != m_userTokens.end() && it->second > nowMs;
}

BucketRecord* CServiceState::findBucketNoLock(const std::string& bucketId) {
    auto it = m_buckets.find(bucketId);
    return it == m_buckets.end() ? nullptr : &it->second;
}

FileRecord* CServiceState::findFileNoLock(const std::string& bucketId, const std::string& fileId) {
    BucketRecord* bucket = findBucketNoLock(bucketId);
    if (bucket == nullptr) return nullptr;
    auto it = bucket->files.find(fileId);
    return it == bucket->files.end() ? nullptr : &it->second;
}

bool CServiceState::addBucketNoLock(const BucketRecord& bucket) {
    return m_buckets.emplace(bucket.id, bucket).second;
}

bool CServiceState::addFileNoLock(BucketRecord& bucket, const FileRecord& file) {
    if (!bucket.files.emplace(file.id, file).second) return false;
    bucket.fileOrder.push_back(file.id);
    return true;
}

void CServiceState::clearNoLock() { m_buckets.clear(); }

}  // namespace vxt_service
