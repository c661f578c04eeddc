#include "engines/CTransferEngineBase.h"

#include <Poco/Delegate.h>

#include "groups/CGroupManagerBase.h"

namespace vx_transfers {

CTransferEngineBase::CTransferEngineBase(CGroupManagerBase& groupManager,
                                         unsigned int maxConcurrentTransfers,
                                         unsigned int maxRetries, unsigned int maxSpeed)
    : m_groupManager(groupManager),
      m_maxConcurrentTransfers(maxConcurrentTransfers),
      m_maxRetries(maxRetries),
      m_maxSpeed(maxSpeed) {}

CTransferEngineBase::~CTransferEngineBase() {
    // Channels outlive the engine when their files hold them (a parked channel even keeps its
    // thread): none of them may call into this object any more.
    for (ChannelList* list : {&m_activeChannels, &m_pendingChannels, &m_pausedChannels}) {
        for (ChannelPtr& channel : *list) {
            if (!channel.isNull()) {
                unsubscribeFromChannel(*channel);
            }
        }
    }
}

void CTransferEngineBase::requestGroupResume(ITransferGroup* group, bool autoRetry) {
    GroupResumeInfo info;
    info.group = group;
    info.autoRetry = autoRetry;
    Poco::Any payload(info);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_GROUP_RESUME, payload);
}

bool CTransferEngineBase::hasActiveTransfers() {
    return !m_activeChannels.empty() || !m_pendingChannels.empty();
}

void CTransferEngineBase::initiateTransfersNoLock(bool repeatActiveEvent) {
    const bool wasIdle = m_activeChannels.empty();

    while (m_activeChannels.size() < m_maxConcurrentTransfers) {
        ChannelPtr channel = getNextChannel(m_pendingChannels, m_activeGroups);
        if (channel.isNull()) {
            break;
        }
        if (channel->isStarted()) {
            channel->resume();
        } else if (startChannel(channel) != DT_SUCCESS) {
            // A channel that cannot start is dropped; its file learns of it from the channel.
            continue;
        }
        m_activeChannels.push_back(channel);
    }

    // Only the rise is reported here; the fall comes from stopAllActive alone, and the
    // sleep-prevention counter relies on exactly that imbalance.
    if (wasIdle) {
        fireActiveTransfersEvent(true);
        if (repeatActiveEvent) {
            fireActiveTransfersEvent(true);
        }
    }

    if (m_maxSpeed != 0 && !m_activeChannels.empty()) {
        const unsigned int share = m_maxSpeed / static_cast<unsigned int>(m_activeChannels.size());
        for (ChannelPtr& channel : m_activeChannels) {
            channel->setMaxTransferSpeed(share);
        }
    }
}

CTransferEngineBase::ChannelPtr CTransferEngineBase::getNextChannel(ChannelList& pendingChannels,
                                                                    GroupList& activeGroups) {
    if (!pendingChannels.empty()) {
        return popFirstFromVector(pendingChannels);
    }

    ChannelPtr channel;
    if (!activeGroups.empty()) {
        channel = popChannelFromActiveGroup(pendingChannels, activeGroups);
    }
    // A group is taken up only once the groups already there have run out of work.
    while (channel.isNull()) {
        GroupPtr group = m_groupManager.findGroupNotInList(activeGroups);
        if (group.isNull()) {
            break;
        }
        activeGroups.push_back(group);
        channel = popChannelFromActiveGroup(pendingChannels, activeGroups);
    }
    return channel;
}

dt_error CTransferEngineBase::startChannel(ChannelPtr& channel) {
    // A channel that ran before is already subscribed; one delegate per channel is enough.
    unsubscribeFromChannel(*channel);
    channel->stateEvent += Poco::delegate(this, &CTransferEngineBase::onChannelStateChanged);
    channel->setMaxRetries(m_maxRetries);
    // The share of a full complement; the scheduler corrects it once it knows how many run.
    channel->setMaxTransferSpeed(
        m_maxConcurrentTransfers != 0 ? m_maxSpeed / m_maxConcurrentTransfers : m_maxSpeed);
    return channel->start();
}

void CTransferEngineBase::fireActiveTransfersEvent(bool active) {
    if (active && !m_activeChannels.empty()) {
        const bool value = true;
        m_activeTransfersEvent.notify(this, value);
    } else if (!active && m_activeChannels.empty()) {
        const bool value = false;
        m_activeTransfersEvent.notify(this, value);
    }
}

void CTransferEngineBase::handleGroupResume(Poco::Any& payload) {
    if (payload.type() != typeid(GroupResumeInfo)) {
        return;
    }
    GroupResumeInfo& info = Poco::RefAnyCast<GroupResumeInfo>(payload);
    // The request carries a plain pointer, and a cancelled group may have left the registry,
    // and died, while the request waited. Groups leave only on this thread, so the test holds.
    if (info.group != nullptr && m_groupManager.isGroupInList(info.group)) {
        info.group->resumeGroupAsync(info.autoRetry);
    }
}

void CTransferEngineBase::onChannelStateChanged(const void* sender,
                                                const ITransferChannel::StateEventData& data) {
    CTransferEngineRequestQueue::RequestType type;
    switch (data.state) {
        case ITransferChannel::StateFailed:
            type = CTransferEngineRequestQueue::REQUEST_TRANSFER_ERROR;
            break;
        case ITransferChannel::StateCompleted:
            type = CTransferEngineRequestQueue::REQUEST_TRANSFER_COMPLETE;
            break;
        case ITransferChannel::StatePaused:
            type = CTransferEngineRequestQueue::REQUEST_CHANNEL_PAUSED;
            break;
        default:
            return;
    }
    Poco::Any payload(static_cast<const ITransferChannel*>(sender));
    m_requestQueue.AddRequest(type, payload);
}

void CTransferEngineBase::insertFrontIntoChannelList(ChannelList& target, ChannelList& source) {
    for (ChannelPtr& channel : source) {
        target.push_front(channel);
    }
}

CTransferEngineBase::ChannelPtr CTransferEngineBase::popFirstFromVector(ChannelList& channels) {
    if (channels.empty()) {
        return ChannelPtr();
    }
    ChannelPtr first = channels.front();
    channels.pop_front();
    return first;
}

void CTransferEngineBase::stopAllActive() {
    stopAllInVector(m_activeChannels);
    if (!m_activeChannels.empty()) {
        const bool value = false;
        m_activeTransfersEvent.notify(this, value);
    }
    insertFrontIntoChannelList(m_pendingChannels, m_activeChannels);
    m_activeChannels.clear();
}

void CTransferEngineBase::stopAllInVector(ChannelList& channels) {
    for (ChannelPtr& channel : channels) {
        if (channel->isStarted()) {
            channel->stop();
        }
    }
}

bool CTransferEngineBase::isChannelWithParentInVector(ChannelList& channels,
                                                      const ITransferFile* parent) {
    for (ChannelPtr& channel : channels) {
        if (channel->getParent() == parent) {
            return true;
        }
    }
    return false;
}

bool CTransferEngineBase::removeFromVector(ChannelList& channels, const ITransferChannel* channel) {
    ChannelList::iterator it = findInVector(channels, channel);
    if (it == channels.end()) {
        return false;
    }
    channels.erase(it);
    return true;
}

CTransferEngineBase::ChannelList::iterator CTransferEngineBase::findInVector(
    ChannelList& channels, const ITransferChannel* channel) {
    for (ChannelList::iterator it = channels.begin(); it != channels.end(); ++it) {
        if (it->get() == channel) {
            return it;
        }
    }
    return channels.end();
}

bool CTransferEngineBase::isInVector(ChannelList& channels, const ITransferChannel* channel) {
    return findInVector(channels, channel) != channels.end();
}

void CTransferEngineBase::unsubscribeFromChannel(ITransferChannel& channel) {
    channel.stateEvent -= Poco::delegate(this, &CTransferEngineBase::onChannelStateChanged);
}

}  // namespace vx_transfers
