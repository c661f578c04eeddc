#pragma once

#include <Poco/Any.h>
#include <Poco/BasicEvent.h>
#include <Poco/Mutex.h>
#include <Poco/SharedPtr.h>
#include <Poco/Thread.h>

#include <list>

#include "channels/ITransferChannel.h"
#include "engines/CTransferEngineRequestQueue.h"
#include "engines/ITransferEngineCallback.h"
#include "groups/ITransferGroup.h"
#include "vx_transfers/dt_error.h"

namespace vx_transfers {

class CGroupManagerBase;

// What the upload and the download engine share: the lists that say what every channel is
// doing, the scheduler that starts channels up to the limit of concurrent transfers, the split
// of the speed limit over the running channels, the event that says whether transfers are
// active, and the translation of channel events into requests.
//
// A virtual base of both engines, so that an engine and its callback interface share one copy.
// Which file goes next is the derived engine's business (popChannelFromActiveGroup). The lists
// change on the worker thread only; the derived engine's handlers hold m_mutex around changes.
class CTransferEngineBase : public virtual ITransferEngineCallback {
public:
    using ChannelPtr = Poco::SharedPtr<ITransferChannel>;
    using ChannelList = std::list<ChannelPtr>;
    using GroupPtr = Poco::SharedPtr<ITransferGroup>;
    using GroupList = std::list<GroupPtr>;

    CTransferEngineBase(CGroupManagerBase& groupManager, unsigned int maxConcurrentTransfers,
                        unsigned int maxRetries, unsigned int maxSpeed);
    ~CTransferEngineBase() override;

    CTransferEngineBase(const CTransferEngineBase&) = delete;
    CTransferEngineBase& operator=(const CTransferEngineBase&) = delete;

    // Posts the resume; the group's resumeGroupAsync() runs later on the worker thread.
    void requestGroupResume(ITransferGroup* group, bool autoRetry) override;

    // Channels are running or waiting for a place; paused ones do not count. Read without the
    // lock: it is a hint for the application.
    bool hasActiveTransfers();

    // True when channels begin to run from idle (possibly twice in a row), false when
    // stopAllActive() stops running channels. Raised on the worker thread, maybe under m_mutex:
    // subscribers must only take leaf locks.
    Poco::BasicEvent<const bool> m_activeTransfersEvent;

protected:
    // The next channel of the groups already taken up (appending the rest of a file's channels
    // to `pendingChannels`), or null when none of them has work.
    virtual ChannelPtr popChannelFromActiveGroup(ChannelList& pendingChannels,
                                                 GroupList& activeGroups) = 0;

    // The scheduler. The caller holds m_mutex or is the worker thread.
    void initiateTransfersNoLock(bool repeatActiveEvent);
    ChannelPtr getNextChannel(ChannelList& pendingChannels, GroupList& activeGroups);
    // Subscribes to the channel's state event, hands it the limits and starts it; the result of
    // its start(), DT_SUCCESS being success.
    dt_error startChannel(ChannelPtr& channel);
    void fireActiveTransfersEvent(bool active);
    // Worker thread: runs the resume carried by a GroupResumeInfo payload.
    void handleGroupResume(Poco::Any& payload);
    // Delegate on each started channel's state event, on the channel's thread: only posts.
    void onChannelStateChanged(const void* sender, const ITransferChannel::StateEventData& data);
    // Each channel of `source` in turn goes to the very front of `target`.
    static void insertFrontIntoChannelList(ChannelList& target, ChannelList& source);
    // Removes and returns the first channel; null for an empty list.
    static ChannelPtr popFirstFromVector(ChannelList& channels);
    // Worker thread, as its last act: stops the running channels and puts them first in line.
    void stopAllActive();
    static void stopAllInVector(ChannelList& channels);

    // Whether any channel of `channels` has `parent` as its file.
    static bool isChannelWithParentInVector(ChannelList& channels, const ITransferFile* parent);
    // Removes `channel` by pointer; true if it was there.
    static bool removeFromVector(ChannelList& channels, const ITransferChannel* channel);
    static ChannelList::iterator findInVector(ChannelList& channels,
                                              const ITransferChannel* channel);
    static bool isInVector(ChannelList& channels, const ITransferChannel* channel);
    // Takes the engine off a channel's state event.
    void unsubscribeFromChannel(ITransferChannel& channel);

    CTransferEngineRequestQueue m_requestQueue;
    ChannelList m_activeChannels;
    ChannelList m_pendingChannels;
    ChannelList m_pausedChannels;
    GroupList m_activeGroups;
    CGroupManagerBase& m_groupManager;
    Poco::FastMutex m_mutex;
    Poco::Thread m_workerThread;
    unsigned int m_maxConcurrentTransfers;
    unsigned int m_maxRetries;
    unsigned int m_maxSpeed;
};

}  // namespace vx_transfers
