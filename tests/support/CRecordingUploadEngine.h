// An upload engine that only records the requests that groups post to it, in order, so that
// tests can play the engine's part themselves (call initFiles, markQueue(false),
// removeFileUploaded, resumeGroupAsync ...) and check what a group asked for.
#ifndef VXT_TESTS_SUPPORT_CRECORDINGUPLOADENGINE_H
#define VXT_TESTS_SUPPORT_CRECORDINGUPLOADENGINE_H

#include <Poco/SharedPtr.h>

#include <list>
#include <mutex>
#include <vector>

#include "engines/IUploadEngineCallback.h"

namespace vxt_test {

class CRecordingUploadEngine : public vx_transfers::IUploadEngineCallback {
public:
    using FilePtr = Poco::SharedPtr<vx_transfers::IUploadFile>;

    enum class Kind {
        GroupResume,
        UploadCancel,
        UploadPause,
        UploadResume,
        FileAddPaused,
        GroupRemove,
        GroupMark,
        FilesInitialize,
    };

    struct Request {
        Kind kind = Kind::GroupResume;
        vx_transfers::ITransferGroup* group = nullptr;  // GroupResume
        vx_transfers::CUploadGroup* uploadGroup =
            nullptr;               // GroupRemove, GroupMark, FilesInitialize
        bool autoRetry = false;    // GroupResume
        std::list<FilePtr> files;  // UploadCancel / Pause / Resume, FileAddPaused
        std::vector<vx_transfers::CUploadManager::FileDesc> descs;  // FilesInitialize
    };

    void requestGroupResume(vx_transfers::ITransferGroup* group, bool autoRetry) override;
    void requestUploadCancel(std::list<FilePtr>& files) override;
    void requestUploadPause(std::list<FilePtr>& files) override;
    void requestUploadResume(std::list<FilePtr>& files) override;
    void requestFileAddPaused(FilePtr& file) override;
    void requestGroupRemove(vx_transfers::CUploadGroup* group) override;
    void requestGroupMark(vx_transfers::CUploadGroup* group) override;
    void requestFilesInitialize(
        vx_transfers::CUploadGroup* group,
        std::vector<vx_transfers::CUploadManager::FileDesc>& files) override;

    std::vector<Request> requests() const;
    std::vector<Request> requests(Kind kind) const;
    size_t count(Kind kind) const;
    // Forgets what was recorded (and the files that the requests held).
    void clear();

private:
    void record(Request request);

    mutable std::mutex m_mutex;
    std::vector<Request> m_requests;
};

}  // namespace vxt_test

#endif
