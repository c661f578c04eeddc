#pragma once

namespace vx_transfers {

class CFileChannelsInfo;

namespace file_channels_info_helpers {

// Cuts every channel's pointer back to its file, so that a channel that outlives the file (held
// by an engine list, say) never calls into it.
void resetParentForEachChannelInList(CFileChannelsInfo& channels);

}  // namespace file_channels_info_helpers
}  // namespace vx_transfers
