#pragma once

#include <Poco/Data/Session.h>
#include <Poco/Mutex.h>

#include <set>
#include <string>
#include <vector>

#include "db/CDbTable.h"
#include "db/DbRows.h"

namespace vx_transfers {

// ChannelsDictionary: one row per (upload channel, HTTP header). A channel's url, offset,
// length and state repeat on each of its rows, and a channel without headers has no row.
// Called from the engine's thread and from channel threads, so each operation holds the
// table's mutex for the whole of it. Failures are logged and swallowed.
class CChannelsDbInfo : public CDbTable<db_rows::UploadChannelRow, Poco::FastMutex> {
public:
    using ChannelInfo = db_rows::UploadChannel;
    using ChannelInfoLinear = db_rows::UploadChannelRow;

    // Creates the table if it does not exist. The session must outlive this object.
    explicit CChannelsDbInfo(Poco::Data::Session& session);

    // One INSERT per header, in vector order; a failed row is logged and the next is tried.
    void insert(const ChannelInfo& info);
    // Appends to `out` the channels folded from the rows: rows of one (fileUid, offset) add
    // their header to the first channel seen, whose url, length and state are kept.
    void extractAll(std::vector<ChannelInfo>& out);
    void remove(const std::string& fileUid);
    // Removes the channels of every listed file in one statement; an empty set runs nothing.
    void remove(const std::set<std::string>& fileUids);
    // Changes the state on every row of the channel.
    void modifyState(const std::string& fileUid, unsigned long long offset, unsigned int state);
};

}  // namespace vx_transfers
