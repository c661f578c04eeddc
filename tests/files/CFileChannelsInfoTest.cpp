#include <gtest/gtest.h>

#include <vector>

#include "channels/CUploadChannel.h"
#include "files/CFileChannelsInfo.h"
#include "files/file_channels_info_helpers.h"
#include "support/CFakeTransferFile.h"

namespace vx_transfers {
namespace {

using State = ITransferChannel::State;

class CFileChannelsInfoTest : public ::testing::Test {
protected:
    Poco::SharedPtr<ITransferChannel> channel(unsigned long long offset) {
        return new CUploadChannel("http://127.0.0.1:1/part", L"/nonexistent", offset, 10, {},
                                  &m_parent, 0, nullptr, false);
    }

    vxt_test::CFakeTransferFile m_parent;
};

TEST_F(CFileChannelsInfoTest, StatesAreRecordedPerChannelAndFilteredInOrderOfAddition) {
    CFileChannelsInfo info;
    EXPECT_TRUE(info.empty());
    const auto a = channel(0), b = channel(10), c = channel(20);
    info.add(a, ITransferChannel::StateStarted);
    info.add(b, ITransferChannel::StateStarted);
    info.add(c, ITransferChannel::StateCompleted);
    info.setState(b.get(), ITransferChannel::StateCompleted);
    // A channel that is not in the list changes nothing.
    const auto stranger = channel(30);
    info.setState(stranger.get(), ITransferChannel::StateCompleted);

    EXPECT_EQ(3u, info.size());
    CFileChannelsInfo::ChannelList started, completed, all;
    info.getAllWithState(started, ITransferChannel::StateStarted);
    info.getAllWithState(completed, ITransferChannel::StateCompleted);
    info.getAll(all);
    EXPECT_EQ((CFileChannelsInfo::ChannelList{a}), started);
    EXPECT_EQ((CFileChannelsInfo::ChannelList{b, c}), completed);
    EXPECT_EQ((CFileChannelsInfo::ChannelList{a, b, c}), all);

    info.clear();
    EXPECT_TRUE(info.empty());
    EXPECT_EQ(0u, info.size());
}

TEST_F(CFileChannelsInfoTest, ResettingParentsCutsEveryChannelLooseFromItsFile) {
    CFileChannelsInfo info;
    file_channels_info_helpers::resetParentForEachChannelInList(info);  // empty: nothing to do
    const auto a = channel(0), b = channel(10);
    info.add(a, ITransferChannel::StateStarted);
    info.add(b, ITransferChannel::StateCompleted);
    ASSERT_EQ(&m_parent, a->getParent());
    file_channels_info_helpers::resetParentForEachChannelInList(info);
    EXPECT_EQ(nullptr, a->getParent());
    EXPECT_EQ(nullptr, b->getParent());
    EXPECT_EQ(2u, info.size());
}

}  // namespace
}  // namespace vx_transfers
