#include "files/CUploadFileMultiPart.h"

#include "db/CFilesDbInfo.h"
#include "files/hash_calculate.h"
#include "groups/CUploadGroup.h"
#include "platform/Log.h"
#include "rest/CRestApiMultiPartUploadAbort.h"
#include "rest/CRestApiMultiPartUploadComplete.h"

namespace vx_transfers {

namespace {

void fillIdentifiers(CRestApiMultiPartUploadBase::RequestDetails& details,
                     const std::string& fileId, CUploadGroup* group, const std::string& uploadId) {
    details.fileId = fileId;
    if (group != nullptr) {
        group->getBucketId(details.bucketId);
        group->getBucketToken(details.token);
    }
    details.uploadId = uploadId;
}

}  // namespace

CUploadFileMultiPart::CUploadFileMultiPart(unsigned long long partSize) : m_partSize(partSize) {}

void CUploadFileMultiPart::divide(unsigned long long fileSize, unsigned long long& partSize,
                                  unsigned long long& count) {
    if (partSize == 0) {
        // No nominal size: as many parts as allowed.
        count = fileSize == 0 ? 0 : kMaxParts + 1;
    } else {
        count = fileSize / partSize + (fileSize % partSize != 0 ? 1 : 0);
    }
    if (count > kMaxParts) {
        partSize = fileSize / kMaxParts + (fileSize % kMaxParts != 0 ? 1 : 0);
        count = kMaxParts;
    }
}

dt_error CUploadFileMultiPart::initialize(CUploadManager::FileDesc& desc, CUploadGroup* group,
                                          bool calculateMd5, unsigned long long bufferSize) {
    const dt_error result = CUploadFileBase::initialize(desc, group, calculateMd5, bufferSize);
    const std::string& uid = m_fileDesc.fileUid;
    VXT_BLOG_INFO(m_logger, "Initiated multipart upload of a file with uid " << desc.fileUid);
    if (result != DT_SUCCESS) {
        return result;
    }

    CRestApiMultiPartUploadInitialize::RequestDetails details;
    fillIdentifiers(details, uid, m_parentGroup, std::string());
    details.size = m_fileSize;
    if (calculateMd5) {
        VXT_BLOG_INFO(m_logger, "Requested calculation of MD5 checksum of a file with id " << uid);
        if (!hash_calculate::Md5CalculateFile(details.md5Digest, m_filePath, 0, 0)) {
            // The upload goes on; the service then has no digest to verify against.
            VXT_BLOG_ERROR(m_logger, "Unable to calculate md5 checksum for file " << uid);
        }
    }

    unsigned long long count = 0;
    divide(m_fileSize, m_partSize, count);
    VXT_BLOG_INFO(m_logger, "Trying to divide file onto " << count << " parts. File uid: " << uid);

    unsigned long long remaining = m_fileSize;
    for (unsigned long long i = 0; i < count; ++i) {
        CRestApiMultiPartUploadInitialize::RequestDetails::Part part;
        part.size = remaining < m_partSize ? remaining : m_partSize;
        part.number = static_cast<unsigned int>(i + 1);
        if (calculateMd5 && !hash_calculate::Md5CalculateFile(part.md5Digest, m_filePath,
                                                              m_partSize * i, part.size)) {
            VXT_BLOG_ERROR(m_logger, "Unable to calculate md5 checksum for part " << i);
        }
        details.parts.push_back(part);
        m_partSizes[part.number] = part.size;
        remaining -= part.size;
    }

    if (sendRestRequest<CRestApiMultiPartUploadInitialize>(details, m_initResponse) != DT_SUCCESS) {
        return DT_MULTIPART_INIT_FAILED;
    }

    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        // Offsets follow the order of the answer, which the service gives in ascending part
        // numbers.
        unsigned long long offset = 0;
        for (const auto& element : m_initResponse.parts) {
            HeaderList headers = element.headers;
            headers.insert(headers.end(), m_fileDesc.additionalHttpHeaders.begin(),
                           m_fileDesc.additionalHttpHeaders.end());
            const unsigned int number = static_cast<unsigned int>(element.number);
            const unsigned long long size = m_partSizes[number];
            createChannel(element.url, offset, size, headers, number, true);
            offset += size;
        }
        m_uploadId = m_initResponse.uploadId;
    }
    VXT_BLOG_INFO(m_logger, "Received upload id: " << m_uploadId);
    if (m_filesDb) {
        m_filesDb->setUploadId(uid, m_uploadId);
    }
    return DT_SUCCESS;
}

bool CUploadFileMultiPart::onComplete() {
    if (m_parentGroup == nullptr) {
        return false;
    }
    CRestApiMultiPartUploadComplete::RequestDetails details;
    fillIdentifiers(details, m_fileDesc.fileUid, m_parentGroup, m_uploadId);
    details.numberOfParts = m_completedChannels;
    if (sendRestRequest<CRestApiMultiPartUploadComplete>(details) != DT_SUCCESS) {
        VXT_BLOG_ERROR(m_logger, "Error calling multipart complete REST API!");
        return false;
    }
    return true;
}

void CUploadFileMultiPart::onCancel() {
    if (m_parentGroup == nullptr) {
        return;
    }
    CRestApiMultiPartUploadBase::RequestDetails details;
    fillIdentifiers(details, m_fileDesc.fileUid, m_parentGroup, m_uploadId);
    sendRestRequest<CRestApiMultiPartUploadAbort>(details);
}

}  // namespace vx_transfers
