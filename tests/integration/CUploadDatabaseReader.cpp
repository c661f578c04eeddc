#include "integration/CUploadDatabaseReader.h"

#include <Poco/Data/RecordSet.h>
#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>
#include <Poco/File.h>

#include <stdexcept>

namespace vxt_test {
namespace {

Poco::Data::Session open(const std::string& path) {
    Poco::Data::SQLite::Connector::registerConnector();
    Poco::Data::Session session("SQLite", path);
    // The library may be writing at the same moment; wait for its lock rather than fail.
    session.setConnectionTimeout(5);
    return session;
}

// Runs `sql` and hands each row to `take` as a RecordSet positioned on it.
template <typename Take>
void forEachRow(const std::string& path, const std::string& sql, Take take) {
    Poco::Data::Session session = open(path);
    Poco::Data::Statement select(session);
    select << sql;
    select.execute();
    Poco::Data::RecordSet rows(select);
    for (bool more = rows.moveFirst(); more; more = rows.moveNext()) take(rows);
}

std::string text(Poco::Data::RecordSet& rows, std::size_t column) {
    return rows.value(column).isEmpty() ? std::string() : rows.value(column).convert<std::string>();
}

std::uint64_t number(Poco::Data::RecordSet& rows, std::size_t column) {
    return rows.value(column).isEmpty() ? 0 : rows.value(column).convert<std::uint64_t>();
}

}  // namespace

CUploadDatabaseReader::CUploadDatabaseReader(const std::string& appFolder)
    : m_path(databasePath(appFolder)) {
    if (!Poco::File(m_path).exists()) throw std::runtime_error("no database at " + m_path);
}

std::string CUploadDatabaseReader::databasePath(const std::string& appFolder) {
    return appFolder + "/vx_transfers_v4.db";
}

std::vector<CUploadDatabaseReader::GroupRow> CUploadDatabaseReader::groups() const {
    std::vector<GroupRow> out;
    forEachRow(m_path,
               "SELECT BucketUid, GroupId, Paused, Marked, RetryCount FROM GroupsDictionary",
               [&](Poco::Data::RecordSet& rows) {
                   GroupRow row;
                   row.bucketUid = text(rows, 0);
                   row.groupId = static_cast<int>(number(rows, 1));
                   row.paused = number(rows, 2) != 0;
                   row.marked = number(rows, 3) != 0;
                   row.retryCount = static_cast<unsigned int>(number(rows, 4));
                   out.push_back(row);
               });
    return out;
}

std::vector<CUploadDatabaseReader::FileRow> CUploadDatabaseReader::files() const {
    std::vector<FileRow> out;
    forEachRow(m_path, "SELECT FileUid, ParentGroupId, UploadId FROM FilesDictionary",
               [&](Poco::Data::RecordSet& rows) {
                   FileRow row;
                   row.fileUid = text(rows, 0);
                   row.parentGroupId = static_cast<int>(number(rows, 1));
                   row.uploadId = text(rows, 2);
                   out.push_back(row);
               });
    return out;
}

std::vector<CUploadDatabaseReader::ChannelRow> CUploadDatabaseReader::channels() const {
    std::vector<ChannelRow> out;
    forEachRow(m_path,
               "SELECT DISTINCT FileUid, Url, LocalOffset, BytesToUpload, State "
               "FROM ChannelsDictionary ORDER BY FileUid, LocalOffset",
               [&](Poco::Data::RecordSet& rows) {
                   ChannelRow row;
                   row.fileUid = text(rows, 0);
                   row.url = text(rows, 1);
                   row.offset = number(rows, 2);
                   row.size = number(rows, 3);
                   row.state = static_cast<int>(number(rows, 4));
                   out.push_back(row);
               });
    return out;
}

}  // namespace vxt_test
