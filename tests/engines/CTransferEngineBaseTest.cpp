#include <Poco/Delegate.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CCallJournal.h"
#include "CFakeChannel.h"
#include "CFakeGroupRegistry.h"
#include "CFakeTransferGroup.h"
#include "engines/CTransferEngineBase.h"

namespace vx_transfers {
namespace {

using RequestType = CTransferEngineRequestQueue::RequestType;

// The base with the plainest group policy: the first active group that has a batch gives it.
// No worker thread: the test is the worker.
class CBatchEngine : public CTransferEngineBase {
public:
    CBatchEngine(CGroupManagerBase& registry, unsigned int maxConcurrent, unsigned int maxSpeed)
        : CTransferEngineBase(registry, maxConcurrent, 4, maxSpeed) {}

    using CTransferEngineBase::handleGroupResume;
    using CTransferEngineBase::initiateTransfersNoLock;
    using CTransferEngineBase::m_activeChannels;
    using CTransferEngineBase::m_activeGroups;
    using CTransferEngineBase::m_pausedChannels;
    using CTransferEngineBase::m_pendingChannels;
    using CTransferEngineBase::m_requestQueue;
    using CTransferEngineBase::stopAllActive;

protected:
    ChannelPtr popChannelFromActiveGroup(ChannelList& pending, GroupList& groups) override {
        for (GroupPtr& group : groups) {
            CFakeTransferGroup* fake = dynamic_cast<CFakeTransferGroup*>(group.get());
            ChannelList batch;
            if (fake != nullptr && fake->popBatch(batch)) {
                pending.splice(pending.end(), batch);
                return popFirstFromVector(pending);
            }
        }
        return ChannelPtr();
    }
};

std::vector<std::string> namesOf(CTransferEngineBase::ChannelList& channels) {
    std::vector<std::string> names;
    for (CTransferEngineBase::ChannelPtr& channel : channels) {
        names.push_back(dynamic_cast<CFakeChannel&>(*channel).name());
    }
    return names;
}

std::vector<int> idsOf(CTransferEngineBase::GroupList& groups) {
    std::vector<int> ids;
    for (CTransferEngineBase::GroupPtr& group : groups) {
        ids.push_back(group->getId());
    }
    return ids;
}

class CTransferEngineBaseTest : public ::testing::Test {
protected:
    void makeEngine(unsigned int maxConcurrent, unsigned int maxSpeed = 0) {
        m_engine.reset(new CBatchEngine(m_registry, maxConcurrent, maxSpeed));
        m_engine->m_activeTransfersEvent +=
            Poco::delegate(this, &CTransferEngineBaseTest::onActiveTransfers);
    }

    Poco::SharedPtr<ITransferChannel> channel(const std::string& name,
                                              dt_error startResult = DT_SUCCESS) {
        Poco::SharedPtr<ITransferChannel> made(
            new CFakeChannel(name, m_journal, nullptr, startResult));
        m_channels[name] = made;
        return made;
    }

    CFakeChannel& fake(const std::string& name) {
        return dynamic_cast<CFakeChannel&>(*m_channels.at(name));
    }

    // A registered group with one batch ("file") per list of names.
    CFakeTransferGroup* group(const std::vector<std::vector<std::string>>& batches) {
        CFakeTransferGroup* made = m_registry.addGroup();
        for (const std::vector<std::string>& names : batches) {
            CFakeTransferGroup::ChannelList batch;
            for (const std::string& name : names) {
                batch.push_back(channel(name));
            }
            made->addBatch(batch);
        }
        return made;
    }

    std::vector<std::string> activeEvents() { return m_journal.entriesStartingWith("active="); }

    // Takes the oldest request off the queue; the caller knows that there is one.
    std::pair<RequestType, Poco::Any> popRequest() {
        RequestType type = static_cast<RequestType>(0);
        Poco::Any payload;
        m_engine->m_requestQueue.PopRequest(type, payload);
        return {type, payload};
    }

    void onActiveTransfers(const void*, const bool& active) {
        m_journal.record(std::string("active=") + (active ? "1" : "0"));
    }

    CCallJournal m_journal;
    CFakeGroupRegistry m_registry;
    std::map<std::string, Poco::SharedPtr<ITransferChannel>> m_channels;
    std::unique_ptr<CBatchEngine> m_engine;
};

TEST_F(CTransferEngineBaseTest, LimitOfTwoRunsTwoOfFourChannelsAndStartsAThirdWhenOneLeaves) {
    makeEngine(2);
    group({{"c1", "c2", "c3", "c4"}});

    m_engine->initiateTransfersNoLock(false);

    EXPECT_EQ(namesOf(m_engine->m_activeChannels), (std::vector<std::string>{"c1", "c2"}));
    EXPECT_EQ(namesOf(m_engine->m_pendingChannels), (std::vector<std::string>{"c3", "c4"}));
    EXPECT_EQ(m_journal.entriesStartingWith("c3."), std::vector<std::string>{});
    EXPECT_TRUE(m_engine->hasActiveTransfers());

    m_engine->m_activeChannels.pop_front();  // c1 finished
    m_engine->initiateTransfersNoLock(false);

    EXPECT_EQ(namesOf(m_engine->m_activeChannels), (std::vector<std::string>{"c2", "c3"}));
    EXPECT_EQ(namesOf(m_engine->m_pendingChannels), (std::vector<std::string>{"c4"}));
    EXPECT_EQ(m_journal.count("c3.start"), 1u);
    EXPECT_EQ(m_journal.count("c2.start"), 1u);
}

TEST_F(CTransferEngineBaseTest, ChannelWhoseStartFailsIsDroppedAndTheNextIsTriedInTheSamePass) {
    makeEngine(2);
    CFakeTransferGroup* g = m_registry.addGroup();
    g->addBatch({channel("bad", DT_INVALID_ARGUMENT), channel("c2"), channel("c3")});

    m_engine->initiateTransfersNoLock(false);

    EXPECT_EQ(namesOf(m_engine->m_activeChannels), (std::vector<std::string>{"c2", "c3"}));
    EXPECT_TRUE(m_engine->m_pendingChannels.empty());
    EXPECT_TRUE(m_engine->m_pausedChannels.empty());
    EXPECT_EQ(m_journal.count("bad.start"), 1u);
}

TEST_F(CTransferEngineBaseTest, StartedChannelGetsRetriesAndAShareOfAFullComplement) {
    makeEngine(3, 900);
    group({{"c1"}});

    m_engine->initiateTransfersNoLock(false);

    // Limits first, start last; then the split over the one channel that really runs.
    EXPECT_EQ(
        m_journal.entriesStartingWith("c1."),
        (std::vector<std::string>{"c1.retries=4", "c1.speed=300", "c1.start", "c1.speed=900"}));
}

TEST_F(CTransferEngineBaseTest, SpeedLimitIsSplitEvenlyOverTheRunningChannels) {
    struct Case {
        unsigned int maxSpeed;
        unsigned int limit;
        std::vector<std::string> channels;
        std::vector<std::string> expectedSpeedsOfFirst;
    };
    const std::vector<Case> cases = {
        {1000, 3, {"a", "b", "c"}, {"a.speed=333", "a.speed=333"}},
        {1000, 4, {"a", "b", "c"}, {"a.speed=250", "a.speed=333"}},
        {1000, 2, {"a"}, {"a.speed=500", "a.speed=1000"}},
        // No limit: only startChannel hands a speed out.
        {0, 2, {"a", "b"}, {"a.speed=0"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("maxSpeed " + std::to_string(c.maxSpeed) + ", limit " +
                     std::to_string(c.limit) + ", channels " + std::to_string(c.channels.size()));
        m_engine.reset();
        m_journal.clear();
        makeEngine(c.limit, c.maxSpeed);
        group({c.channels});

        m_engine->initiateTransfersNoLock(false);

        EXPECT_EQ(m_journal.entriesStartingWith("a.speed"), c.expectedSpeedsOfFirst);
        for (const std::string& name : c.channels) {
            const unsigned int expected =
                c.maxSpeed == 0 ? 0 : c.maxSpeed / static_cast<unsigned int>(c.channels.size());
            EXPECT_EQ(fake(name).lastSpeed(), expected) << name;
        }
    }
}

TEST_F(CTransferEngineBaseTest, StopAllActiveStopsInOrderRaisesFalseAndQueuesThemFirstReversed) {
    makeEngine(2);
    group({{"c1", "c2", "c3"}});
    m_engine->initiateTransfersNoLock(false);
    m_journal.clear();

    m_engine->stopAllActive();

    EXPECT_EQ(m_journal.entries(), (std::vector<std::string>{"c1.stop", "c2.stop", "active=0"}));
    EXPECT_TRUE(m_engine->m_activeChannels.empty());
    EXPECT_EQ(namesOf(m_engine->m_pendingChannels), (std::vector<std::string>{"c2", "c1", "c3"}));
    // They still wait for a place.
    EXPECT_TRUE(m_engine->hasActiveTransfers());

    // The next start picks the stopped ones up first, starting them anew.
    m_journal.clear();
    m_engine->initiateTransfersNoLock(false);
    EXPECT_EQ(namesOf(m_engine->m_activeChannels), (std::vector<std::string>{"c2", "c1"}));
    EXPECT_EQ(m_journal.count("c2.start"), 1u);
    EXPECT_EQ(m_journal.count("c1.start"), 1u);
    EXPECT_EQ(activeEvents(), std::vector<std::string>{"active=1"});
}

TEST_F(CTransferEngineBaseTest, StopAllActiveOnAnIdleEngineRaisesNothing) {
    makeEngine(2);
    m_engine->m_pendingChannels.push_back(channel("waiting"));

    m_engine->stopAllActive();

    EXPECT_EQ(m_journal.entries(), std::vector<std::string>{});
    EXPECT_EQ(namesOf(m_engine->m_pendingChannels), std::vector<std::string>{"waiting"});
}

TEST_F(CTransferEngineBaseTest, ActiveEventRisesOnlyFromIdleAndNeverFallsInTheScheduler) {
    makeEngine(1);
    CFakeTransferGroup* g = group({{"c1"}});

    // From idle with the repeat flag: true twice in a row.
    m_engine->initiateTransfersNoLock(true);
    EXPECT_EQ(activeEvents(), (std::vector<std::string>{"active=1", "active=1"}));

    // Already running: nothing.
    m_journal.clear();
    m_engine->initiateTransfersNoLock(true);
    EXPECT_EQ(activeEvents(), std::vector<std::string>{});

    // The last channel left and nothing follows: still nothing, in particular no false.
    m_engine->m_activeChannels.clear();
    m_engine->initiateTransfersNoLock(true);
    EXPECT_EQ(activeEvents(), std::vector<std::string>{});

    // Idle again and work comes, without the repeat flag: true once.
    g->addBatch({channel("c2")});
    m_engine->initiateTransfersNoLock(false);
    EXPECT_EQ(activeEvents(), std::vector<std::string>{"active=1"});
}

TEST_F(CTransferEngineBaseTest, ChannelStatesTurnIntoRequestsCarryingTheChannel) {
    makeEngine(1);
    group({{"c1"}});
    m_engine->initiateTransfersNoLock(false);
    const ITransferChannel* c1 = m_channels.at("c1").get();

    struct Case {
        ITransferChannel::State state;
        int expectedRequest;  // 0: none
    };
    const std::vector<Case> cases = {
        {ITransferChannel::StateStarted, 0},
        {ITransferChannel::StateFailed, CTransferEngineRequestQueue::REQUEST_TRANSFER_ERROR},
        {ITransferChannel::StateCompleted, CTransferEngineRequestQueue::REQUEST_TRANSFER_COMPLETE},
        {ITransferChannel::StatePaused, CTransferEngineRequestQueue::REQUEST_CHANNEL_PAUSED},
        {ITransferChannel::StateCancelled, 0},
        {ITransferChannel::StateStopped, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("state " + std::to_string(c.state));
        fake("c1").fire(c.state);
        // A marker behind whatever the event posted.
        m_engine->m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_GROUP_REMOVE);

        std::pair<RequestType, Poco::Any> first = popRequest();
        if (c.expectedRequest == 0) {
            EXPECT_EQ(first.first, CTransferEngineRequestQueue::REQUEST_GROUP_REMOVE);
            continue;
        }
        EXPECT_EQ(first.first, c.expectedRequest);
        ASSERT_EQ(first.second.type(), typeid(const ITransferChannel*));
        EXPECT_EQ(Poco::AnyCast<const ITransferChannel*>(first.second), c1);
        EXPECT_EQ(popRequest().first, CTransferEngineRequestQueue::REQUEST_GROUP_REMOVE);
    }
}

TEST_F(CTransferEngineBaseTest, ChannelStartedAgainAfterAStopPostsEachEventOnce) {
    makeEngine(1);
    group({{"c1"}});
    m_engine->initiateTransfersNoLock(false);
    m_engine->stopAllActive();
    m_engine->initiateTransfersNoLock(false);
    ASSERT_EQ(m_journal.count("c1.start"), 2u);

    fake("c1").fire(ITransferChannel::StateCompleted);
    m_engine->m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_GROUP_REMOVE);

    EXPECT_EQ(popRequest().first, CTransferEngineRequestQueue::REQUEST_TRANSFER_COMPLETE);
    EXPECT_EQ(popRequest().first, CTransferEngineRequestQueue::REQUEST_GROUP_REMOVE);
}

TEST_F(CTransferEngineBaseTest, StartedChannelThatIsStillAliveIsResumedNotStarted) {
    makeEngine(1);
    Poco::SharedPtr<ITransferChannel> parked = channel("parked");
    ASSERT_EQ(parked->start(), DT_SUCCESS);
    m_journal.clear();
    m_engine->m_pendingChannels.push_back(parked);

    m_engine->initiateTransfersNoLock(false);

    EXPECT_EQ(m_journal.entriesStartingWith("parked."), std::vector<std::string>{"parked.resume"});
    EXPECT_EQ(namesOf(m_engine->m_activeChannels), std::vector<std::string>{"parked"});
}

TEST_F(CTransferEngineBaseTest, GroupsAreTakenUpInRegistryOrderWhenEarlierOnesRunDry) {
    makeEngine(1);
    CFakeTransferGroup* a = group({{"a1"}});
    CFakeTransferGroup* b = group({{"b1"}});
    group({});

    m_engine->initiateTransfersNoLock(false);
    EXPECT_EQ(namesOf(m_engine->m_activeChannels), std::vector<std::string>{"a1"});
    EXPECT_EQ(idsOf(m_engine->m_activeGroups), std::vector<int>{0});

    m_engine->m_activeChannels.clear();
    m_engine->initiateTransfersNoLock(false);
    EXPECT_EQ(namesOf(m_engine->m_activeChannels), std::vector<std::string>{"b1"});
    EXPECT_EQ(idsOf(m_engine->m_activeGroups), (std::vector<int>{0, 1}));

    // Nobody has work: every registered group has been taken up, and nothing runs.
    m_engine->m_activeChannels.clear();
    m_engine->initiateTransfersNoLock(false);
    EXPECT_TRUE(m_engine->m_activeChannels.empty());
    EXPECT_EQ(idsOf(m_engine->m_activeGroups), (std::vector<int>{0, 1, 2}));

    // New work in both: the group taken up first is served first.
    b->addBatch({channel("b2")});
    a->addBatch({channel("a2")});
    m_engine->initiateTransfersNoLock(false);
    EXPECT_EQ(namesOf(m_engine->m_activeChannels), std::vector<std::string>{"a2"});
}

TEST_F(CTransferEngineBaseTest, GroupResumeRunsOnlyForAResumeInfoThatNamesAGroup) {
    makeEngine(1);
    CFakeTransferGroup* g = group({});

    m_engine->requestGroupResume(g, true);
    std::pair<RequestType, Poco::Any> request = popRequest();
    ASSERT_EQ(request.first, CTransferEngineRequestQueue::REQUEST_GROUP_RESUME);
    EXPECT_EQ(g->resumeCount(), 0);  // posting alone resumes nothing

    m_engine->handleGroupResume(request.second);
    EXPECT_EQ(g->resumeCount(), 1);
    EXPECT_TRUE(g->lastAutoRetry());

    Poco::Any wrongType(g);
    m_engine->handleGroupResume(wrongType);
    Poco::Any noGroup(ITransferEngineCallback::GroupResumeInfo{});
    m_engine->handleGroupResume(noGroup);
    EXPECT_EQ(g->resumeCount(), 1);

    // A group that left the registry (cancelled and dropped) while its request waited.
    CFakeTransferGroup gone(77);
    Poco::Any goneGroup(ITransferEngineCallback::GroupResumeInfo{&gone, false});
    m_engine->handleGroupResume(goneGroup);
    EXPECT_EQ(gone.resumeCount(), 0);
}

TEST_F(CTransferEngineBaseTest, PausedChannelsDoNotCountAsActiveTransfers) {
    makeEngine(1);
    EXPECT_FALSE(m_engine->hasActiveTransfers());

    m_engine->m_pausedChannels.push_back(channel("paused"));
    EXPECT_FALSE(m_engine->hasActiveTransfers());

    m_engine->m_pendingChannels.push_back(channel("pending"));
    EXPECT_TRUE(m_engine->hasActiveTransfers());
}

}  // namespace
}  // namespace vx_transfers
