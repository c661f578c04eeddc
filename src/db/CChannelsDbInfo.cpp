#include "db/CChannelsDbInfo.h"

#include <Poco/Types.h>

#include <algorithm>

namespace vx_transfers {

using Poco::Data::Keywords::bind;

CChannelsDbInfo::CChannelsDbInfo(Poco::Data::Session& session)
    : CDbTable(session,
               "CREATE TABLE IF NOT EXISTS ChannelsDictionary (FileUid VARCHAR(40), Url VARCHAR, "
               "LocalOffset UINTEGER64, BytesToUpload UINTEGER64, State INTEGER8, HttpHeaderName "
               "VARCHAR, HttpHeaderValue VARCHAR, PRIMARY KEY(FileUid, LocalOffset, "
               "HttpHeaderName))",
               "Exception when trying to create ChannelsDictionary table. ") {}

void CChannelsDbInfo::insert(const ChannelInfo& info) {
    ScopedLock lock(m_mutex);
    ChannelInfoLinear row;
    row.fileUid = info.fileUid;
    row.url = info.url;
    row.offset = info.offset;
    row.bytesToUpload = info.bytesToUpload;
    row.state = info.state;
    for (const auto& header : info.httpHeaders) {
        row.httpHeaderName = header.first;
        row.httpHeaderValue = header.second;
        insertRow("Exception when trying to insert into ChannelsDictionary table. ",
                  "INSERT INTO ChannelsDictionary VALUES(:fi, :url, :lo, :bu, :st, :hn, :hv)", row);
    }
}

void CChannelsDbInfo::extractAll(std::vector<ChannelInfo>& out) {
    ScopedLock lock(m_mutex);
    std::vector<ChannelInfoLinear> rows;
    selectRows("Exception when trying to select from ChannelsDictionary table. ",
               "SELECT * FROM ChannelsDictionary", rows);
    for (const ChannelInfoLinear& row : rows) {
        auto channel = std::find_if(out.begin(), out.end(), [&row](const ChannelInfo& c) {
            return c.fileUid == row.fileUid && c.offset == row.offset;
        });
        if (channel == out.end()) {
            ChannelInfo folded;
            folded.fileUid = row.fileUid;
            folded.url = row.url;
            folded.offset = row.offset;
            folded.bytesToUpload = row.bytesToUpload;
            folded.state = row.state;
            out.push_back(folded);
            channel = out.end() - 1;
        }
        channel->httpHeaders.emplace_back(row.httpHeaderName, row.httpHeaderValue);
    }
}

void CChannelsDbInfo::remove(const std::string& fileUid) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to delete from ChannelsDictionary table. ",
            "DELETE FROM ChannelsDictionary WHERE FileUid=:fu", bind(fileUid));
}

void CChannelsDbInfo::remove(const std::set<std::string>& fileUids) {
    ScopedLock lock(m_mutex);
    removeByIds("Exception when trying to delete from ChannelsDictionary table. ",
                "DELETE FROM ChannelsDictionary WHERE FileUid IN (", fileUids);
}

void CChannelsDbInfo::modifyState(const std::string& fileUid, unsigned long long offset,
                                  unsigned int state) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update ChannelsDictionary table. ",
            "UPDATE ChannelsDictionary SET State=:st WHERE FileUid=:fu AND LocalOffset=:lo",
            bind(state), bind(fileUid), bind(static_cast<Poco::UInt64>(offset)));
}

}  // namespace vx_transfers
