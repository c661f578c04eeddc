#include "files/CFileChannelsInfo.h"

namespace vx_transfers {

void CFileChannelsInfo::add(const ChannelPtr& channel, ITransferChannel::State state) {
    m_entries.push_back(Entry{channel, state});
}

void CFileChannelsInfo::getAll(ChannelList& out) const {
    for (const auto& entry : m_entries) {
        out.push_back(entry.channel);
    }
}

void CFileChannelsInfo::getAllWithState(ChannelList& out, ITransferChannel::State state) const {
    for (const auto& entry : m_entries) {
        if (entry.state == state) {
            out.push_back(entry.channel);
        }
    }
}

void CFileChannelsInfo::setState(const ITransferChannel* channel, ITransferChannel::State state) {
    for (auto& entry : m_entries) {
        if (entry.channel.get() == channel) {
            entry.state = state;
            return;
        }
    }
}

std::size_t CFileChannelsInfo::size() const {
    std::size_t count = 0;
    for (auto it = m_entries.begin(); it != m_entries.end(); ++it) {
        ++count;
    }
    return count;
}

bool CFileChannelsInfo::empty() const { return m_entries.empty(); }

void CFileChannelsInfo::clear() { m_entries.clear(); }

}  // namespace vx_transfers
