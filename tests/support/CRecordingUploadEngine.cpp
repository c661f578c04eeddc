#include "support/CRecordingUploadEngine.h"

#include <utility>

namespace vxt_test {

void CRecordingUploadEngine::requestGroupResume(vx_transfers::ITransferGroup* group,
                                                bool autoRetry) {
    Request request;
    request.kind = Kind::GroupResume;
    request.group = group;
    request.autoRetry = autoRetry;
    record(std::move(request));
}

void CRecordingUploadEngine::requestUploadCancel(std::list<FilePtr>& files) {
    Request request;
    request.kind = Kind::UploadCancel;
    request.files = files;
    record(std::move(request));
}

void CRecordingUploadEngine::requestUploadPause(std::list<FilePtr>& files) {
    Request request;
    request.kind = Kind::UploadPause;
    request.files = files;
    record(std::move(request));
}

void CRecordingUploadEngine::requestUploadResume(std::list<FilePtr>& files) {
    Request request;
    request.kind = Kind::UploadResume;
    request.files = files;
    record(std::move(request));
}

void CRecordingUploadEngine::requestFileAddPaused(FilePtr& file) {
    Request request;
    request.kind = Kind::FileAddPaused;
    request.files.push_back(file);
    record(std::move(request));
}

void CRecordingUploadEngine::requestGroupRemove(vx_transfers::CUploadGroup* group) {
    Request request;
    request.kind = Kind::GroupRemove;
    request.uploadGroup = group;
    record(std::move(request));
}

void CRecordingUploadEngine::requestGroupMark(vx_transfers::CUploadGroup* group) {
    Request request;
    request.kind = Kind::GroupMark;
    request.uploadGroup = group;
    record(std::move(request));
}

void CRecordingUploadEngine::requestFilesInitialize(
    vx_transfers::CUploadGroup* group, std::vector<vx_transfers::CUploadManager::FileDesc>& files) {
    Request request;
    request.kind = Kind::FilesInitialize;
    request.uploadGroup = group;
    request.descs = files;
    record(std::move(request));
}

std::vector<CRecordingUploadEngine::Request> CRecordingUploadEngine::requests() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

std::vector<CRecordingUploadEngine::Request> CRecordingUploadEngine::requests(Kind kind) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Request> result;
    for (const Request& request : m_requests) {
        if (request.kind == kind) {
            result.push_back(request);
        }
    }
    return result;
}

size_t CRecordingUploadEngine::count(Kind kind) const { return requests(kind).size(); }

void CRecordingUploadEngine::clear() {
    std::vector<Request> dropped;
    std::lock_guard<std::mutex> lock(m_mutex);
    dropped.swap(m_requests);
}

void CRecordingUploadEngine::record(Request request) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.push_back(std::move(request));
}

}  // namespace vxt_test
