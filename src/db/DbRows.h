#pragma once

// The records of the six tables. Code outside this folder names them through their tables
// (CFilesDbInfo::FileInfo, CDownloadChannelsDbInfo::ChannelInfo, ...); they live here, at
// namespace scope, so that the table classes can be built on a base templated on them.

#include <string>
#include <utility>
#include <vector>

#include "db/CGroupsDbInfoBase.h"
#include "vx_transfers/CDownloadManager.h"
#include "vx_transfers/CUploadManager.h"

namespace vx_transfers {
namespace db_rows {

// A row of GroupsDictionary.
struct UploadGroup : CGroupsDbInfoBase::GroupInfo {
    bool marked = false;  // Marked: no more files will be queued
};

// A row of FilesDictionary. The local path is stored as UTF-8; additionalHttpHeaders is not
// stored here (the headers live with the channels) and comes back empty.
struct UploadFile : CUploadManager::FileDesc {
    int parentGroupId = 0;  // ParentGroupId
    std::string uploadId;   // UploadId: set later for multipart files
};

// One row of ChannelsDictionary: a channel with one of its HTTP headers.
struct UploadChannelRow {
    std::string fileUid;
    std::string url;
    unsigned long long offset = 0;
    unsigned long long bytesToUpload = 0;
    unsigned int state = 0;  // ITransferChannel::State
    std::string httpHeaderName;
    std::string httpHeaderValue;
};

// An upload channel with all of its headers, folded from its rows.
struct UploadChannel {
    std::string fileUid;
    std::string url;
    unsigned long long offset = 0;
    unsigned long long bytesToUpload = 0;
    unsigned int state = 0;  // ITransferChannel::State
    std::vector<std::pair<std::string, std::string>> httpHeaders;

    // A channel is known by its file and its offset.
    bool operator==(const UploadChannel& other) const {
        return fileUid == other.fileUid && offset == other.offset;
    }
};

// A row of DownloadGroupsDictionary.
struct DownloadGroup : CGroupsDbInfoBase::GroupInfo {
    std::wstring downloadPath;  // DownloadPath, stored as UTF-8
};

// A row of DownloadFilesDictionary. Paths are stored as UTF-8.
struct DownloadFile : CDownloadManager::FileDownloadDetails {
    int parentGroupId = 0;     // ParentGroupId
    std::wstring tmpFileName;  // TmpFileName
};

// A row of DownloadChannelsDictionary.
struct DownloadChannel {
    std::string fileUid;
    unsigned long long offset = 0;
    unsigned long long bytesToTransfer = 0;
    unsigned int state = 0;  // ITransferChannel::State

    // A channel is known by its file and its offset.
    bool operator==(const DownloadChannel& other) const {
        return fileUid == other.fileUid && offset == other.offset;
    }
};

}  // namespace db_rows
}  // namespace vx_transfers
