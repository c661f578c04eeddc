#include <Poco/Delegate.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CCallJournal.h"
#include "CFakeChannel.h"
#include "CFakeTransferGroup.h"
#include "CFakeUploadFile.h"
#include "engines/CUploadEngine.h"
#include "groups/CGroupManager.h"
#include "groups/CUploadGroup.h"

namespace vx_transfers {
namespace {

using RequestType = CTransferEngineRequestQueue::RequestType;
using Names = std::vector<std::string>;

// The real engine, with a look at its lists (under its lock) and at its worker.
// A file without channels whose only use is to tell when the worker reached it: adding it
// paused makes the worker list its channels and start nothing.
class CBarrierFile : public CFakeUploadFile {
public:
    CBarrierFile() : CFakeUploadFile("barrier", nullptr) {}

    void getChannelVector(ChannelList& channels) override {
        CFakeUploadFile::getChannelVector(channels);
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_reached;
        m_reachedCondition.notify_all();
    }

    bool waitForReached(int count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_reachedCondition.wait_for(lock, std::chrono::seconds(10),
                                           [&] { return m_reached >= count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_reachedCondition;
    int m_reached = 0;
};

class CObservableUploadEngine : public CUploadEngine {
public:
    CObservableUploadEngine(CGroupManager& registry, unsigned int maxConcurrent)
        : CTransferEngineBase(registry, maxConcurrent, 3, 0),
          CUploadEngine(registry, maxConcurrent, 3, 0) {}

    Names active() { return names(m_activeChannels); }
    Names pending() { return names(m_pendingChannels); }
    Names paused() { return names(m_pausedChannels); }

    size_t activeGroupCount() {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        return m_activeGroups.size();
    }

    void post(RequestType type, Poco::Any& payload) { m_requestQueue.AddRequest(type, payload); }

    bool waitForWorkerEnd(long milliseconds) { return m_workerThread.tryJoin(milliseconds); }

private:
    Names names(ChannelList& channels) {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        Names result;
        for (ChannelPtr& channel : channels) {
            result.push_back(dynamic_cast<CFakeChannel&>(*channel).name());
        }
        return result;
    }
};

class CUploadEngineTest : public ::testing::Test {
protected:
    void makeEngine(unsigned int maxConcurrent) {
        m_engine.reset(new CObservableUploadEngine(m_registry, maxConcurrent));
        m_engine->m_activeTransfersEvent +=
            Poco::delegate(this, &CUploadEngineTest::onActiveTransfers);
    }

    void TearDown() override {
        // The worker must be gone before the channels and files it points at.
        m_engine.reset();
    }

    // A fake file with one fake channel per name, in order.
    Poco::SharedPtr<IUploadFile> file(const std::string& uid, const Names& channelNames,
                                      CUploadGroup* group = nullptr) {
        Poco::SharedPtr<CFakeUploadFile> made(new CFakeUploadFile(uid, group));
        for (const std::string& name : channelNames) {
            Poco::SharedPtr<ITransferChannel> channel(
                new CFakeChannel(name, m_journal, made.get()));
            m_channels[name] = channel;
            made->addChannel(channel);
        }
        Poco::SharedPtr<IUploadFile> result(made);
        m_files.push_back(result);
        return result;
    }

    CFakeChannel& fake(const std::string& name) {
        return dynamic_cast<CFakeChannel&>(*m_channels.at(name));
    }

    void add(const Names& channelNames,
             ITransferChannel::State state = ITransferChannel::StateStarted) {
        for (const std::string& name : channelNames) {
            ITransferEngineCallback::ChannelInfo info;
            info.channel = m_channels.at(name);
            info.state = state;
            m_engine->requestChannelAdd(info);
        }
    }

    // Returns once the worker has served every request posted so far.
    void barrier() {
        ++m_barriers;
        Poco::SharedPtr<IUploadFile> file = m_barrierFile;
        m_engine->requestFileAddPaused(file);
        ASSERT_TRUE(m_barrierFile->waitForReached(m_barriers)) << "the worker did not get there";
    }

    std::list<Poco::SharedPtr<IUploadFile>> listOf(const Poco::SharedPtr<IUploadFile>& one) {
        return {one};
    }

    void onActiveTransfers(const void*, const bool& active) {
        m_journal.record(std::string("active=") + (active ? "1" : "0"));
    }

    CCallJournal m_journal;
    CGroupManager m_registry;
    Poco::SharedPtr<CBarrierFile> m_barrierFile{new CBarrierFile()};
    int m_barriers = 0;
    std::map<std::string, Poco::SharedPtr<ITransferChannel>> m_channels;
    std::vector<Poco::SharedPtr<IUploadFile>> m_files;
    std::unique_ptr<CObservableUploadEngine> m_engine;
};

TEST_F(CUploadEngineTest, RequestsPostedBeforeInitWaitAndAreServedInOrderOnceItRuns) {
    makeEngine(1);
    Poco::SharedPtr<IUploadFile> f = file("F", {"f1", "f2"});
    add({"f1", "f2"});
    std::list<Poco::SharedPtr<IUploadFile>> files = listOf(f);
    m_engine->requestUploadPause(files);
    EXPECT_EQ(m_journal.entries(), Names{});

    m_engine->init();
    barrier();

    // Added first, then paused: f1 ran and was asked to pause, f2 never started.
    EXPECT_EQ(m_journal.entriesStartingWith("f1.s"), (Names{"f1.speed=0", "f1.start"}));
    EXPECT_EQ(m_journal.entriesStartingWith("f1.p"), Names{"f1.pause"});
    EXPECT_EQ(m_journal.entriesStartingWith("f2."), Names{});
    EXPECT_EQ(m_engine->active(), Names{"f1"});
    EXPECT_EQ(m_engine->paused(), Names{"f2"});
}

TEST_F(CUploadEngineTest, ShutdownTwiceThenStartupLeavesTheEngineStopped) {
    makeEngine(1);
    file("F", {"f1"});
    m_engine->init();
    m_engine->uninit();
    m_engine->uninit();

    m_engine->init();
    // The second stop was waiting in the queue and ends this worker at once.
    ASSERT_TRUE(m_engine->waitForWorkerEnd(10000));
    add({"f1"});
    EXPECT_EQ(m_journal.count("f1.start"), 0u);

    // A new start serves what waited.
    m_engine->init();
    barrier();
    EXPECT_EQ(m_journal.count("f1.start"), 1u);
    EXPECT_EQ(m_engine->active(), Names{"f1"});
}

TEST_F(CUploadEngineTest, UploadErrorParksEveryChannelOfTheFileAndHandsTheirPlacesToOthers) {
    makeEngine(3);
    file("F", {"f1", "f2", "f3", "f4"});
    file("G", {"g1", "g2"});
    add({"f1", "f2", "f3", "f4", "g1", "g2"});
    m_engine->init();
    barrier();
    ASSERT_EQ(m_engine->active(), (Names{"f1", "f2", "f3"}));
    ASSERT_EQ(m_engine->pending(), (Names{"f4", "g1", "g2"}));

    fake("f2").fire(ITransferChannel::StateFailed);
    barrier();

    // Alive again but waiting at their pause point, ready for a resume.
    for (const std::string name : {"f1", "f2", "f3"}) {
        SCOPED_TRACE(name);
        const Names calls = m_journal.entriesStartingWith(name + ".");
        ASSERT_GE(calls.size(), 3u);
        EXPECT_EQ(Names(calls.end() - 3, calls.end()),
                  (Names{name + ".stop", name + ".pause", name + ".start"}));
    }
    EXPECT_EQ(m_engine->paused(), (Names{"f1", "f2", "f3", "f4"}));
    EXPECT_EQ(m_engine->active(), (Names{"g1", "g2"}));
    EXPECT_EQ(m_engine->pending(), Names{});
    EXPECT_EQ(m_journal.count("f4.start"), 0u);
}

TEST_F(CUploadEngineTest, CompletionOrErrorOfAChannelThatIsNotRunningChangesNothing) {
    makeEngine(1);
    file("F", {"f1"});
    file("G", {"g1"});
    add({"f1", "g1"});
    m_engine->init();
    barrier();
    m_journal.clear();

    fake("g1").fire(ITransferChannel::StateCompleted);
    fake("g1").fire(ITransferChannel::StateFailed);
    barrier();

    EXPECT_EQ(m_engine->active(), Names{"f1"});
    EXPECT_EQ(m_engine->pending(), Names{"g1"});
    EXPECT_EQ(m_journal.entries(), Names{});
}

TEST_F(CUploadEngineTest, PausedFileLeavesTheRunningOnItsPausedEventsAndResumesAheadOfOthers) {
    makeEngine(2);
    Poco::SharedPtr<IUploadFile> f = file("F", {"f1", "f2", "f3"});
    file("G", {"g1"});
    add({"f1", "f2", "f3", "g1"});
    m_engine->init();
    std::list<Poco::SharedPtr<IUploadFile>> files = listOf(f);
    m_engine->requestUploadPause(files);
    barrier();

    // Running channels are asked to pause and keep their places until they have.
    EXPECT_EQ(m_journal.count("f1.pause"), 1u);
    EXPECT_EQ(m_journal.count("f2.pause"), 1u);
    EXPECT_EQ(m_engine->active(), (Names{"f1", "f2"}));
    EXPECT_EQ(m_engine->paused(), Names{"f3"});
    EXPECT_EQ(m_engine->pending(), Names{"g1"});

    fake("f1").fire(ITransferChannel::StatePaused);
    // f2 was resumed before its event was served: it stays.
    fake("f2").resume();
    fake("f2").fire(ITransferChannel::StatePaused);
    barrier();
    EXPECT_EQ(m_engine->active(), (Names{"f2", "g1"}));
    EXPECT_EQ(m_engine->paused(), (Names{"f1", "f3"}));

    m_engine->requestUploadResume(files);
    barrier();
    // Moved one by one to the front of the line; the running one is told to go on.
    EXPECT_EQ(m_engine->pending(), (Names{"f3", "f1"}));
    EXPECT_EQ(m_engine->paused(), Names{});
    EXPECT_EQ(m_journal.count("f2.resume"), 2u);
}

TEST_F(CUploadEngineTest, ChannelRestoredPausedIsStartedAtItsPausePointOutsideTheLimit) {
    makeEngine(1);
    file("F", {"f1"});
    file("G", {"g1"});
    add({"f1"}, ITransferChannel::StatePaused);
    add({"g1"});
    m_engine->init();
    barrier();

    EXPECT_EQ(m_journal.entriesStartingWith("f1."),
              (Names{"f1.pause", "f1.retries=3", "f1.speed=0", "f1.start"}));
    EXPECT_EQ(m_engine->paused(), Names{"f1"});
    EXPECT_EQ(m_engine->active(), Names{"g1"});
}

TEST_F(CUploadEngineTest, FileAddedPausedListsOnlyTheChannelsTheEngineDoesNotHoldYet) {
    makeEngine(1);
    Poco::SharedPtr<IUploadFile> f = file("F", {"f1", "f2", "f3"});
    add({"f1"});
    m_engine->requestFileAddPaused(f);
    m_engine->init();
    barrier();

    EXPECT_EQ(m_engine->active(), Names{"f1"});
    EXPECT_EQ(m_engine->paused(), (Names{"f2", "f3"}));
    EXPECT_EQ(m_journal.count("f2.start") + m_journal.count("f3.start"), 0u);
}

TEST_F(CUploadEngineTest, RequestsWithForeignPayloadsOrUnknownTypesAreIgnored) {
    makeEngine(1);
    file("F", {"f1"});
    file("G", {"g1"});
    add({"f1", "g1"});
    m_engine->init();
    barrier();
    m_journal.clear();

    Poco::Any junk(std::string("junk"));
    for (int type = 0; type <= 15; ++type) {
        if (type != CTransferEngineRequestQueue::REQUEST_STOP &&
            type != CTransferEngineRequestQueue::REQUEST_INITIATE_TRANSFERS) {
            m_engine->post(static_cast<RequestType>(type), junk);
        }
    }
    barrier();

    EXPECT_EQ(m_engine->active(), Names{"f1"});
    EXPECT_EQ(m_engine->pending(), Names{"g1"});
    EXPECT_EQ(m_journal.entries(), Names{});
}

TEST_F(CUploadEngineTest, UninitStopsRunningChannelsWhichThenWaitFirstInLine) {
    makeEngine(2);
    file("F", {"f1", "f2", "f3"});
    add({"f1", "f2", "f3"});
    m_engine->init();
    barrier();
    m_journal.clear();

    m_engine->uninit();

    EXPECT_EQ(m_journal.entries(), (Names{"f1.stop", "f2.stop", "active=0"}));
    EXPECT_EQ(m_engine->active(), Names{});
    EXPECT_EQ(m_engine->pending(), (Names{"f2", "f1", "f3"}));
    EXPECT_TRUE(m_engine->hasActiveTransfers());
}

TEST_F(CUploadEngineTest, EmptyGroupLeavesRegistryAndEngineWithItsLastChannelOnlyOnceCancelled) {
    makeEngine(3);
    m_registry.setTransferEngineCallback(m_engine.get());
    CUploadGroup::TransferGroupInitParams params;
    params.bucketId = "engine-test-bucket";
    params.bucketToken = "token";
    const int id = m_registry.createGroup(params);
    ASSERT_NE(id, -1);
    Poco::SharedPtr<ITransferGroup> held = m_registry.getGroupById(id);
    CUploadGroup* group = dynamic_cast<CUploadGroup*>(held.get());
    ASSERT_NE(group, nullptr);

    Poco::SharedPtr<IUploadFile> f = file("F", {"f1", "f2"}, group);
    add({"f1", "f2"});
    m_engine->init();
    barrier();
    // With places left over, the scheduler took the registered group up.
    ASSERT_EQ(m_engine->active(), (Names{"f1", "f2"}));
    ASSERT_EQ(m_engine->activeGroupCount(), 1u);

    // Its file finishes, but the group is neither marked nor cancelled: it waits for more.
    fake("f1").fire(ITransferChannel::StateCompleted);
    fake("f2").fire(ITransferChannel::StateCompleted);
    barrier();
    EXPECT_EQ(m_engine->active(), Names{});
    EXPECT_EQ(dynamic_cast<CFakeUploadFile&>(*f).uninitializeCount(), 1);
    EXPECT_EQ(m_registry.size(), 1u);
    EXPECT_EQ(m_engine->activeGroupCount(), 1u);

    Poco::SharedPtr<IUploadFile> h = file("H", {"h1"}, group);
    add({"h1"});
    group->cancelGroup();
    std::list<Poco::SharedPtr<IUploadFile>> files = listOf(h);
    m_engine->requestUploadCancel(files);
    barrier();

    EXPECT_EQ(m_journal.count("h1.cancel"), 1u);
    EXPECT_EQ(m_engine->active(), Names{});
    EXPECT_EQ(m_registry.size(), 0u);
    EXPECT_EQ(m_engine->activeGroupCount(), 0u);
}

}  // namespace
}  // namespace vx_transfers
