// The upload direction as the shared channel behaviours see it: the local source file goes to
// nginx with a PUT. A download twin supplies the same members with the roles swapped.
#ifndef VXT_TESTS_CHANNELS_CUPLOADDIRECTION_H
#define VXT_TESTS_CHANNELS_CUPLOADDIRECTION_H

#include <memory>
#include <string>

#include "CChannelsTestEnvironment.h"
#include "channels/CUploadChannel.h"
#include "db/CDatabase.h"
#include "support/CNginxEnvironment.h"

namespace vx_transfers {

struct CUploadDirection {
    // An upload starts the range over after a pause; a download goes on where it stopped.
    static constexpr bool kPauseTakesProgressBack = true;

    // Server-side preparation of a transfer of [offset, offset + size) of the source to or from
    // `name`; gives the URL the channel uses.
    static std::string prepare(const std::string& name, unsigned long long, unsigned long long) {
        return vxt_test::CNginxEnvironment::nginx().urlFor(name);
    }

    static std::unique_ptr<CTransferChannelBase> makeChannel(
        const std::string& url, unsigned long long offset, unsigned long long size,
        ITransferFile* parent, Poco::SharedPtr<ITransferBufferManager> manager) {
        // With a header, so that the channel has a stored row to look at.
        const CUploadChannel::HeaderList headers{{"x-vx-test", "behaviour"}};
        return std::make_unique<CUploadChannel>(url, CChannelsTestEnvironment::sourcePathWide(),
                                                offset, size, headers, parent, 0, manager, true);
    }

    // The bytes where the transfer put them.
    static std::string transferred(const std::string& name, unsigned long long,
                                   unsigned long long) {
        return vxt_test::CNginxEnvironment::nginx().readFile(name);
    }

    // How many requests reached the server for `name`.
    static std::size_t requestsFor(const std::string& name) {
        std::size_t count = 0;
        for (const auto& entry : vxt_test::CNginxEnvironment::nginx().accessLog()) {
            if (entry.path() == "/" + name) ++count;
        }
        return count;
    }

    // The state stored for the channel, or -1 without a row.
    static int storedState(const std::string& fileUid, unsigned long long offset) {
        std::vector<CChannelsDbInfo::ChannelInfo> channels;
        CDatabase::getInstance()->getChannelsInfo()->extractAll(channels);
        for (const auto& channel : channels) {
            if (channel.fileUid == fileUid && channel.offset == offset) {
                return static_cast<int>(channel.state);
            }
        }
        return -1;
    }
};

}  // namespace vx_transfers

#endif
