#pragma once

#include <Poco/SharedPtr.h>

#include <list>
#include <string>
#include <utility>

namespace vx_transfers {

// One file of a group's ledger.
template <typename FilePtr, typename Status, typename Desc>
struct FileStatsTemplate {
    // Null for an entry that failed to initialise or that is to be built anew.
    FilePtr file;
    // Last value reported for the file.
    unsigned long long bytesTransferred = 0;
    unsigned long long bytesTotal = 0;
    Status status = Status::FILE_STATUS_TRANSFERRING;
    // The description as the application gave it.
    Desc desc;
    // Waits in the queue: no channel has been started for it.
    bool pending = true;
    // Still wanted. Cleared when the file is dequeued, the group cancelled, or an upload file
    // changed on disk; the entry then waits for the engine to finish the file's channels.
    bool valid = true;
    // When its channels are gone the entry is built anew instead of dropped.
    bool reinitOnRemoval = false;
};

// A group's ledger of its files, keyed by file uid, in order of arrival. The order is also the
// group's queue: the first pending entry is transferred next, so there is no separate pending
// queue or active list. The list has no lock; its group guards it.
//
// It is a std::list so that the group walks, reads and edits entries in place through the
// iterators the Find operations return. `totalBytes` caches the sum of the entries' bytesTotal;
// every operation that adds or removes an entry clears it (0 means not known) and the group fills
// it in again when it next computes its state.
template <typename File, typename Status, typename Manager, typename Desc>
class CFileStatsList
    : public std::list<
          std::pair<std::string, FileStatsTemplate<Poco::SharedPtr<File>, Status, Desc>>> {
public:
    using FilePtr = Poco::SharedPtr<File>;
    using FileStats = FileStatsTemplate<FilePtr, Status, Desc>;
    using Entry = std::pair<std::string, FileStats>;
    using Base = std::list<Entry>;
    using typename Base::iterator;
    // The manager whose vocabulary (Status, Desc) the entries carry.
    using ManagerType = Manager;

    unsigned long long totalBytes = 0;

    // A uid is not tested for duplicates; the Find operations return the first.
    void AddPending(const Desc& desc, unsigned long long size) {
        Entry entry;
        entry.first = uidOf(desc, 0);
        entry.second.desc = desc;
        entry.second.bytesTotal = size;
        this->push_back(std::move(entry));
        totalBytes = 0;
    }

    void AddPending(const Desc& desc, unsigned long long size, const FilePtr& file) {
        AddPending(desc, size);
        iterator found = FindByFileId(uidOf(desc, 0));
        if (found != this->end()) {
            found->second.file = file;
        }
    }

    iterator FindByFileId(const std::string& uid) {
        for (iterator it = this->begin(); it != this->end(); ++it) {
            if (it->first == uid) {
                return it;
            }
        }
        return this->end();
    }

    iterator FindByFilePtr(const File* file) {
        for (iterator it = this->begin(); it != this->end(); ++it) {
            if (it->second.file.get() == file) {
                return it;
            }
        }
        return this->end();
    }

    iterator FindPending() {
        for (iterator it = this->begin(); it != this->end(); ++it) {
            if (it->second.pending) {
                return it;
            }
        }
        return this->end();
    }

    bool isAnyPendingInList() { return FindPending() != this->end(); }

    FilePtr GetFileWithId(const std::string& uid) {
        iterator found = FindByFileId(uid);
        return found != this->end() ? found->second.file : FilePtr();
    }

    // Copies out the first pending entry; `pending` stays set, the caller clears it when it takes
    // the entry up. Both arguments stay as they were when nothing is pending.
    void GetFirstPending(Desc& desc, FilePtr& file) {
        iterator found = FindPending();
        if (found != this->end()) {
            desc = found->second.desc;
            file = found->second.file;
        }
    }

    void SetTransfering(const std::string& uid, const FilePtr& file) {
        iterator found = FindByFileId(uid);
        if (found != this->end()) {
            found->second.status = Status::FILE_STATUS_TRANSFERRING;
            found->second.pending = false;
            found->second.file = file;
        }
    }

    void Remove(const std::string& uid) {
        iterator found = FindByFileId(uid);
        if (found != this->end()) {
            this->erase(found);
        }
        totalBytes = 0;
    }

    void RemoveAllPending() {
        for (iterator found = FindPending(); found != this->end(); found = FindPending()) {
            this->erase(found);
            totalBytes = 0;
        }
    }

    void GetAllFilePtrs(std::list<FilePtr>& files) {
        for (Entry& entry : *this) {
            if (!entry.second.file.isNull()) {
                files.push_back(entry.second.file);
            }
        }
    }

    // Files whose channels have been handed out and that are still wanted.
    void GetListOfActiveFilePtrs(std::list<FilePtr>& files) {
        for (Entry& entry : *this) {
            if (isActive(entry.second)) {
                files.push_back(entry.second.file);
            }
        }
    }

    // The active files that have neither completed nor failed.
    void GetListOfActiveTransferingFilePtrs(std::list<FilePtr>& files) {
        for (Entry& entry : *this) {
            if (isActive(entry.second) && entry.second.status == Status::FILE_STATUS_TRANSFERRING) {
                files.push_back(entry.second.file);
            }
        }
    }

    bool isAnyInvalid() {
        for (Entry& entry : *this) {
            if (!entry.second.valid) {
                return true;
            }
        }
        return false;
    }

private:
    static bool isActive(const FileStats& stats) {
        return !stats.pending && stats.valid && !stats.file.isNull();
    }

    // Upload descriptions name the uid `fileUid`, download details `fileId`.
    template <typename D>
    static auto uidOf(const D& desc, int) -> decltype((desc.fileUid)) {
        return desc.fileUid;
    }
    template <typename D>
    static auto uidOf(const D& desc, long) -> decltype((desc.fileId)) {
        return desc.fileId;
    }
};

}  // namespace vx_transfers
