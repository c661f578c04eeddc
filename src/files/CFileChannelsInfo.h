#pragma once

#include <Poco/SharedPtr.h>

#include <cstddef>
#include <list>

#include "channels/ITransferChannel.h"

namespace vx_transfers {

// A file's channels, each with the state the file recorded for it, in order of addition. Used by
// both directions. It has no lock of its own: the owning file's mutex, or the fact that only one
// thread is active, protects it.
class CFileChannelsInfo {
public:
    using ChannelPtr = Poco::SharedPtr<ITransferChannel>;
    using ChannelList = std::list<ChannelPtr>;

    void add(const ChannelPtr& channel, ITransferChannel::State state);
    // Appends every channel to `out`.
    void getAll(ChannelList& out) const;
    // Appends the channels whose recorded state equals `state`.
    void getAllWithState(ChannelList& out, ITransferChannel::State state) const;
    // Changes the first entry that holds `channel`; nothing when none does.
    void setState(const ITransferChannel* channel, ITransferChannel::State state);
    std::size_t size() const;
    bool empty() const;
    void clear();

private:
    struct Entry {
        ChannelPtr channel;
        ITransferChannel::State state;
    };

    std::list<Entry> m_entries;
};

}  // namespace vx_transfers
