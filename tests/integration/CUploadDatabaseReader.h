// Reads the library's upload tables straight from "vx_transfers_v4.db", with a session of its own,
// so that tests see what a restart would find rather than what the library keeps in memory.
#ifndef VXT_TESTS_INTEGRATION_CUPLOADDATABASEREADER_H
#define VXT_TESTS_INTEGRATION_CUPLOADDATABASEREADER_H

#include <cstdint>
#include <string>
#include <vector>

namespace vxt_test {

class CUploadDatabaseReader {
public:
    struct GroupRow {
        std::string bucketUid;
        int groupId = 0;
        bool paused = false;
        bool marked = false;
        unsigned int retryCount = 0;
    };
    struct FileRow {
        std::string fileUid;
        int parentGroupId = 0;
        std::string uploadId;
    };
    // One row per channel (the table holds one row per channel and header).
    struct ChannelRow {
        std::string fileUid;
        std::string url;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        int state = 0;
    };

    // `appFolder` holds the database file. Throws if the file does not exist.
    explicit CUploadDatabaseReader(const std::string& appFolder);

    std::vector<GroupRow> groups() const;
    std::vector<FileRow> files() const;
    std::vector<ChannelRow> channels() const;

    static std::string databasePath(const std::string& appFolder);

private:
    std::string m_path;
};

}  // namespace vxt_test

#endif
