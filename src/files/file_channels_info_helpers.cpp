#include "files/file_channels_info_helpers.h"

#include "files/CFileChannelsInfo.h"

namespace vx_transfers {
namespace file_channels_info_helpers {

void resetParentForEachChannelInList(CFileChannelsInfo& channels) {
    CFileChannelsInfo::ChannelList all;
    channels.getAll(all);
    for (auto& channel : all) {
        channel->setParent(nullptr);
    }
}

}  // namespace file_channels_info_helpers
}  // namespace vx_transfers
