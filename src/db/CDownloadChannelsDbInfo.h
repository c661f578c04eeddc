#pragma once

#include <Poco/Data/Session.h>
#include <Poco/Mutex.h>

#include <set>
#include <string>
#include <vector>

#include "db/CDbTable.h"
#include "db/DbRows.h"

namespace vx_transfers {

// DownloadChannelsDictionary: one row per download channel. Called from the engine's thread
// and from channel threads, so each operation holds the table's mutex for the whole of it.
// Failures are logged and swallowed.
class CDownloadChannelsDbInfo : public CDbTable<db_rows::DownloadChannel, Poco::FastMutex> {
public:
    using ChannelInfo = db_rows::DownloadChannel;

    // Creates the table if it does not exist. The session must outlive this object.
    explicit CDownloadChannelsDbInfo(Poco::Data::Session& session);

    void insert(const ChannelInfo& info);
    // Appends every row to `out`.
    void extractAll(std::vector<ChannelInfo>& out);
    void remove(const std::string& fileUid);
    // Removes the channels of every listed file in one statement; an empty set runs nothing.
    void remove(const std::set<std::string>& fileUids);
    void modifyState(const std::string& fileUid, unsigned long long offset, unsigned int state);
};

}  // namespace vx_transfers
