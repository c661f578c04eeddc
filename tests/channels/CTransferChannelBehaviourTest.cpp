// Behaviours that every channel direction shares, written once over a direction traits struct
// (CUploadDirection; a download twin adds its own to the type list).
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "CChannelsTestEnvironment.h"
#include "CUploadDirection.h"
#include "memory/CTRansferBufferManagerDynamic.h"
#include "memory/CTransferBufferManagerStatic.h"
#include "support/CCountingBufferManager.h"
#include "support/CFakeTransferFile.h"
#include "support/CFreePort.h"
#include "support/CManualChannelClock.h"
#include "support/CScriptedHttpServer.h"

namespace vx_transfers {
namespace {

using std::chrono::milliseconds;
using vxt_test::CFakeTransferFile;
using Events = CFakeTransferFile::Events;
using State = ITransferChannel::State;

const milliseconds kWait(20000);

Poco::SharedPtr<ITransferBufferManager> allocated(ITransferBufferManager* manager) {
    Poco::SharedPtr<ITransferBufferManager> shared(manager);
    shared->allocateMemoryPool();
    return shared;
}

bool isFinal(State state) {
    return state == ITransferChannel::StateFailed || state == ITransferChannel::StateCompleted ||
           state == ITransferChannel::StateCancelled || state == ITransferChannel::StateStopped;
}

template <typename Direction>
class CTransferChannelBehaviourTest : public ::testing::Test {
protected:
    CTransferChannelBehaviourTest()
        : m_name(CChannelsTestEnvironment::uniqueName("behaviour")), m_file(m_name) {}

    // A channel over [offset, offset + size) with the given buffers, recorded by m_file.
    std::unique_ptr<CTransferChannelBase> channel(unsigned long long offset,
                                                  unsigned long long size,
                                                  Poco::SharedPtr<ITransferBufferManager> manager,
                                                  const std::string& url = "") {
        const std::string target = url.empty() ? Direction::prepare(m_name, offset, size) : url;
        auto made = Direction::makeChannel(target, offset, size, &m_file, manager);
        made->setMaxRetries(3);
        m_file.attach(*made);
        return made;
    }

    bool waitForFinal(CFakeTransferFile& file) {
        return file.waitFor(
            [](const Events& events) {
                return std::any_of(events.begin(), events.end(), [](const auto& event) {
                    return event.isState && isFinal(event.state.state);
                });
            },
            kWait);
    }

    State finalState(CFakeTransferFile& file) { return file.states().back(); }

    // Stop and cancel block until the channel's thread ends; they run on a helper thread while the
    // clock lets the channel go one chunk at a time until it has seen the request.
    void endInTheMiddle(bool cancel, State expected) {
        const unsigned long long chunk = 64 * 1024, size = 64 * chunk;
        vxt_test::CManualChannelClock clock;
        auto channel = this->channel(0, size, allocated(new CTransferBufferManagerStatic(chunk)));
        channel->setClock(&clock);
        channel->setMaxTransferSpeed(static_cast<unsigned int>(chunk));
        clock.gate();
        ASSERT_EQ(DT_SUCCESS, channel->start());
        ASSERT_TRUE(clock.waitUntil([&] { return clock.sleepersWaiting() == 1; }, kWait));
        std::atomic<bool> ended{false};
        std::thread ender([&] {
            if (cancel) {
                channel->cancel();
            } else {
                channel->stop();
            }
            ended = true;
            clock.notify();
        });
        const bool done = clock.waitUntil(
            [&] {
                if (!ended && clock.sleepersWaiting() == 1) clock.permit();
                return ended.load();
            },
            kWait);
        clock.ungate();
        ender.join();
        ASSERT_TRUE(done);
        EXPECT_EQ(expected, m_file.states().back());
        EXPECT_FALSE(channel->isStarted());
    }

    std::string m_name;
    CFakeTransferFile m_file;
};

using Directions = ::testing::Types<CUploadDirection>;
TYPED_TEST_SUITE(CTransferChannelBehaviourTest, Directions);

TYPED_TEST(CTransferChannelBehaviourTest, RangeArrivesWholeAndCompletes) {
    const unsigned long long offset = 1000, size = 3 * 1024 * 1024 + 17;
    auto channel = this->channel(offset, size, allocated(new CTRansferBufferManagerDynamic));
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(this->waitForFinal(this->m_file));
    channel->stop();

    EXPECT_EQ(
        (std::vector<State>{ITransferChannel::StateStarted, ITransferChannel::StateCompleted}),
        this->m_file.states());
    const auto deltas = this->m_file.progress();
    EXPECT_TRUE(std::all_of(deltas.begin(), deltas.end(), [](long long d) { return d > 0; }));
    EXPECT_EQ(static_cast<long long>(size), this->m_file.progressSum());
    EXPECT_TRUE(TypeParam::transferred(this->m_name, offset, size) ==
                CChannelsTestEnvironment::sourceRange(offset, size));
    EXPECT_EQ(ITransferChannel::StateCompleted, TypeParam::storedState(this->m_name, offset));
}

TYPED_TEST(CTransferChannelBehaviourTest, EmptyRangeCompletes) {
    auto channel = this->channel(50, 0, allocated(new CTRansferBufferManagerDynamic));
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(this->waitForFinal(this->m_file));
    EXPECT_EQ(ITransferChannel::StateCompleted, this->finalState(this->m_file));
    EXPECT_EQ(0, this->m_file.progressSum());
    EXPECT_EQ(std::string(), TypeParam::transferred(this->m_name, 50, 0));
}

TYPED_TEST(CTransferChannelBehaviourTest, PauseBeforeStartWaitsWithoutConnecting) {
    auto channel = this->channel(0, 4096, allocated(new CTRansferBufferManagerDynamic));
    channel->pause();
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(this->m_file.waitForState(ITransferChannel::StatePaused, kWait));
    EXPECT_TRUE(channel->isStarted());
    EXPECT_EQ(ITransferChannel::StatePaused, TypeParam::storedState(this->m_name, 0));

    channel->cancel();
    EXPECT_FALSE(channel->isStarted());
    EXPECT_EQ(
        (std::vector<State>{ITransferChannel::StateStarted, ITransferChannel::StatePaused,
                            ITransferChannel::StateStarted, ITransferChannel::StateCancelled}),
        this->m_file.states());
    EXPECT_EQ(0u, TypeParam::requestsFor(this->m_name));
    EXPECT_EQ(ITransferChannel::StateCancelled, TypeParam::storedState(this->m_name, 0));
}

// The channel is held at its throttle sleep after the first chunk, which is where a pause,
// a stop or a cancel requested meanwhile is seen.
TYPED_TEST(CTransferChannelBehaviourTest, PauseInTheMiddleThenResumeFinishesTheRange) {
    const unsigned long long chunk = 64 * 1024, size = 8 * chunk;
    vxt_test::CManualChannelClock clock;
    auto channel = this->channel(4096, size, allocated(new CTransferBufferManagerStatic(chunk)));
    channel->setClock(&clock);
    channel->setMaxTransferSpeed(static_cast<unsigned int>(chunk));
    clock.gate();
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(clock.waitUntil([&] { return clock.sleepersWaiting() == 1; }, kWait));
    channel->pause();
    clock.permit();
    ASSERT_TRUE(this->m_file.waitForState(ITransferChannel::StatePaused, kWait));

    const auto deltas = this->m_file.progress();
    if (TypeParam::kPauseTakesProgressBack) {
        // One chunk went out, and all of it is taken back at once.
        EXPECT_EQ(
            (std::vector<long long>{static_cast<long long>(chunk), -static_cast<long long>(chunk)}),
            deltas);
    } else {
        EXPECT_EQ((std::vector<long long>{static_cast<long long>(chunk)}), deltas);
    }
    clock.ungate();
    channel->resume();
    ASSERT_TRUE(this->waitForFinal(this->m_file));
    EXPECT_EQ(
        (std::vector<State>{ITransferChannel::StateStarted, ITransferChannel::StatePaused,
                            ITransferChannel::StateStarted, ITransferChannel::StateCompleted}),
        this->m_file.states());
    EXPECT_EQ(static_cast<long long>(size), this->m_file.progressSum());
    EXPECT_TRUE(TypeParam::transferred(this->m_name, 4096, size) ==
                CChannelsTestEnvironment::sourceRange(4096, size));
}

TYPED_TEST(CTransferChannelBehaviourTest, StopInTheMiddleTakesProgressBackAndKeepsStoredState) {
    this->endInTheMiddle(false, ITransferChannel::StateStopped);
    EXPECT_EQ(0, this->m_file.progressSum());
    const auto deltas = this->m_file.progress();
    ASSERT_GE(deltas.size(), 2u);
    EXPECT_LT(deltas.back(), 0);  // one event takes all of it back
    EXPECT_EQ(ITransferChannel::StateStarted, TypeParam::storedState(this->m_name, 0));
}

TYPED_TEST(CTransferChannelBehaviourTest, CancelInTheMiddleEndsCancelled) {
    this->endInTheMiddle(true, ITransferChannel::StateCancelled);
    // A cancelled range is not to be resumed: its progress is not taken back.
    EXPECT_GT(this->m_file.progressSum(), 0);
    EXPECT_EQ(ITransferChannel::StateCancelled, TypeParam::storedState(this->m_name, 0));
}

TYPED_TEST(CTransferChannelBehaviourTest, StopWhilePausedEndsStopped) {
    auto channel = this->channel(0, 4096, allocated(new CTRansferBufferManagerDynamic));
    channel->pause();
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(this->m_file.waitForState(ITransferChannel::StatePaused, kWait));
    channel->stop();
    EXPECT_EQ(ITransferChannel::StateStopped, this->finalState(this->m_file));
    // Stopping leaves the stored state as it was when the channel paused.
    EXPECT_EQ(ITransferChannel::StatePaused, TypeParam::storedState(this->m_name, 0));
}

TYPED_TEST(CTransferChannelBehaviourTest, RefusedConnectionFailsAtOnceWithUrlError) {
    const std::string url =
        "http://127.0.0.1:" + std::to_string(vxt_test::CFreePort::pick()) + "/" + this->m_name;
    auto channel = this->channel(0, 4096, allocated(new CTRansferBufferManagerDynamic), url);
    channel->setMaxRetries(5);
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(this->waitForFinal(this->m_file));
    const auto events = this->m_file.events();
    ASSERT_EQ(2u, events.size());
    EXPECT_EQ(ITransferChannel::StateFailed, events[1].state.state);
    EXPECT_EQ(transfer_defs::FILE_ERROR_URL, events[1].state.error);
    EXPECT_EQ(ITransferChannel::StateFailed, TypeParam::storedState(this->m_name, 0));
}

TYPED_TEST(CTransferChannelBehaviourTest, MalformedResponseEndsTheChannelNotTheProcess) {
    vxt_test::CScriptedHttpServer server("this is no HTTP at all\r\n\r\n");
    auto channel = this->channel(0, 100000, allocated(new CTRansferBufferManagerDynamic),
                                 server.url(this->m_name));
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(this->waitForFinal(this->m_file));
    channel->stop();
    const auto events = this->m_file.events();
    EXPECT_EQ(ITransferChannel::StateFailed, events.back().state.state);
    EXPECT_EQ(transfer_defs::FILE_ERROR_CONNECTION, events.back().state.error);
    EXPECT_EQ(0, this->m_file.progressSum());
    EXPECT_EQ(1, server.requests());
}

TYPED_TEST(CTransferChannelBehaviourTest, ThrottleNeverLetsAChannelRunAboveItsLimit) {
    struct Case {
        unsigned int limit;
        unsigned long long buffer;
        unsigned long long perPeriod;  // what each full period moves
    };
    // A buffer smaller than the allowance uses a period up at once: one buffer per second.
    const Case cases[] = {{100000, 1024 * 1024, 100000}, {100000, 51200, 51200}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.buffer);
        const unsigned long long size = 600000;
        const std::string name = CChannelsTestEnvironment::uniqueName("throttle");
        CFakeTransferFile file(name);
        vxt_test::CManualChannelClock clock;
        std::vector<std::pair<unsigned long long, long long>> samples;  // (time, sum)
        file.setOnProgress([&](long long sum) { samples.emplace_back(clock.nowMicros(), sum); });
        auto channel =
            TypeParam::makeChannel(TypeParam::prepare(name, 0, size), 0, size, &file,
                                   allocated(new CTransferBufferManagerStatic(c.buffer)));
        file.attach(*channel);
        channel->setClock(&clock);
        channel->setMaxTransferSpeed(c.limit);
        const unsigned long long begin = clock.nowMicros();
        ASSERT_EQ(DT_SUCCESS, channel->start());
        ASSERT_TRUE(this->waitForFinal(file));
        channel->stop();
        ASSERT_EQ(ITransferChannel::StateCompleted, file.states().back());
        // Time moves only in throttle sleeps, and a progress event follows its chunk's sleep:
        // a period is the samples at its start time and the first one after it.
        unsigned long long periodStart = begin;
        long long inPeriod = 0, before = 0;
        std::size_t periods = 0;
        for (const auto& sample : samples) {
            inPeriod += sample.second - before;
            before = sample.second;
            if (sample.first > periodStart) {
                EXPECT_LE(inPeriod, static_cast<long long>(c.limit));
                EXPECT_EQ(1000000u, sample.first - periodStart);
                ++periods;
                periodStart = sample.first;
                inPeriod = 0;
            }
        }
        EXPECT_LE(inPeriod, static_cast<long long>(c.limit));
        EXPECT_GE(periods, (size + c.perPeriod - 1) / c.perPeriod - 1);
    }
}

TYPED_TEST(CTransferChannelBehaviourTest, DryPoolMakesTheThirdChannelWaitThenProceed) {
    // Buffers of half the pool: two channels hold all of it.
    const unsigned long long half = CTransferBufferManagerBase::kPoolSize / 2;
    auto* counting =
        new vxt_test::CCountingBufferManager(allocated(new CTransferBufferManagerStatic(half)));
    Poco::SharedPtr<ITransferBufferManager> manager(counting);

    std::vector<std::unique_ptr<CFakeTransferFile>> files;
    std::vector<std::unique_ptr<CTransferChannelBase>> channels;
    std::vector<std::string> names;
    for (int i = 0; i < 3; ++i) {
        names.push_back(CChannelsTestEnvironment::uniqueName("dry"));
        files.push_back(std::make_unique<CFakeTransferFile>(names.back()));
        channels.push_back(TypeParam::makeChannel(TypeParam::prepare(names.back(), i * half, half),
                                                  i * half, half, files.back().get(), manager));
        files.back()->attach(*channels.back());
    }
    counting->closeReleaseGate();
    ASSERT_EQ(DT_SUCCESS, channels[0]->start());
    ASSERT_EQ(DT_SUCCESS, channels[1]->start());
    ASSERT_TRUE(counting->waitUntil([](const auto& c) { return c.held == 2; }, kWait));
    ASSERT_EQ(DT_SUCCESS, channels[2]->start());
    ASSERT_TRUE(counting->waitUntil([](const auto& c) { return c.dry >= 1; }, kWait));
    EXPECT_TRUE(files[2]->progress().empty());
    counting->openReleaseGate();

    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(this->waitForFinal(*files[i]));
        channels[i]->stop();
        EXPECT_EQ(ITransferChannel::StateCompleted, files[i]->states().back());
        EXPECT_TRUE(TypeParam::transferred(names[i], i * half, half) ==
                    CChannelsTestEnvironment::sourceRange(i * half, half));
    }
}

}  // namespace
}  // namespace vx_transfers
