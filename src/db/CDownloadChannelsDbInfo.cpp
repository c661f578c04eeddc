#include "db/CDownloadChannelsDbInfo.h"

#include <Poco/Types.h>

namespace vx_transfers {

using Poco::Data::Keywords::bind;

// Several failure words name the upload tables; they are kept as the log has always had them.

CDownloadChannelsDbInfo::CDownloadChannelsDbInfo(Poco::Data::Session& session)
    : CDbTable(session,
               "CREATE TABLE IF NOT EXISTS DownloadChannelsDictionary (FileUid VARCHAR(40), "
               "Offset UINTEGER64, BytesToTransfer UINTEGER64, State INTEGER8, PRIMARY "
               "KEY(FileUid, Offset))",
               "Exception when trying to create ChannelsDictionary table. ") {}

void CDownloadChannelsDbInfo::insert(const ChannelInfo& info) {
    ScopedLock lock(m_mutex);
    insertRow("Exception when trying to insert into ChannelsDictionary table. ",
              "INSERT INTO DownloadChannelsDictionary VALUES(:fi, :lo, :bt, :st)", info);
}

void CDownloadChannelsDbInfo::extractAll(std::vector<ChannelInfo>& out) {
    ScopedLock lock(m_mutex);
    selectRows("Exception when trying to select from ChannelsDictionary table. ",
               "SELECT * FROM DownloadChannelsDictionary", out);
}

void CDownloadChannelsDbInfo::remove(const std::string& fileUid) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to delete from ChannelsDictionary table. ",
            "DELETE FROM DownloadChannelsDictionary WHERE FileUid=:fu", bind(fileUid));
}

void CDownloadChannelsDbInfo::remove(const std::set<std::string>& fileUids) {
    ScopedLock lock(m_mutex);
    removeByIds("Exception when trying to delete from DownloadChannelsDictionary table. ",
                "DELETE FROM DownloadChannelsDictionary WHERE FileUid IN (", fileUids);
}

void CDownloadChannelsDbInfo::modifyState(const std::string& fileUid, unsigned long long offset,
                                          unsigned int state) {
    ScopedLock lock(m_mutex);
    execute("Exception when trying to update ChannelsDictionary table. ",
            "UPDATE DownloadChannelsDictionary SET State=:st WHERE FileUid=:fu AND Offset=:lo",
            bind(state), bind(fileUid), bind(static_cast<Poco::UInt64>(offset)));
}

}  // namespace vx_transfers
