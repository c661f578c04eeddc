#pragma once

namespace vx_transfers {
namespace files_watch {

// What a directory watch saw happen to a file.
enum FileSystemEvent : int {
    FS_EVENT_UNKNOWN = 0,  // anything else, a move included
    FS_EVENT_ADDED = 1,
    FS_EVENT_DELETED = 2,
    FS_EVENT_MODIFIED = 3,
};

}  // namespace files_watch
}  // namespace vx_transfers
