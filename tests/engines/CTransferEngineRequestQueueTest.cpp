#include <Poco/Any.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <list>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "engines/CTransferEngineRequestQueue.h"

namespace vx_transfers {
namespace {

using Queue = CTransferEngineRequestQueue;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kDeadline(30);

TEST(CTransferEngineRequestQueueTest, RequestsComeOutInPostingOrderWhateverTheirType) {
    Queue queue;
    const Queue::RequestType types[] = {
        Queue::REQUEST_STOP,           Queue::REQUEST_GROUP_RESUME,
        Queue::REQUEST_CHANNEL_ADD,    Queue::REQUEST_INITIATE_TRANSFERS,
        Queue::REQUEST_TRANSFER_ERROR, Queue::REQUEST_FILES_INITIALIZE,
        Queue::REQUEST_STOP,           Queue::REQUEST_GROUP_MARK};
    int index = 0;
    for (Queue::RequestType type : types) {
        Poco::Any payload(index++);
        queue.AddRequest(type, payload);
    }
    queue.AddRequest(Queue::REQUEST_FILES_PAUSE);

    for (int i = 0; i < index; ++i) {
        SCOPED_TRACE(i);
        Queue::RequestType type = Queue::REQUEST_INITIATE_TRANSFERS;
        Poco::Any payload;
        queue.PopRequest(type, payload);
        EXPECT_EQ(types[i], type);
        ASSERT_EQ(typeid(int), payload.type());
        EXPECT_EQ(i, Poco::AnyCast<int>(payload));
    }
    Queue::RequestType type = Queue::REQUEST_INITIATE_TRANSFERS;
    Poco::Any payload(7);
    queue.PopRequest(type, payload);
    EXPECT_EQ(Queue::REQUEST_FILES_PAUSE, type);
    EXPECT_TRUE(payload.empty());
}

TEST(CTransferEngineRequestQueueTest, PostedPayloadIsACopyOfTheCallersList) {
    Queue queue;
    std::list<int> files{1, 2};
    Poco::Any payload(files);
    queue.AddRequest(Queue::REQUEST_FILES_CANCEL, payload);
    files.push_back(3);
    payload = files;

    Queue::RequestType type = Queue::REQUEST_INITIATE_TRANSFERS;
    Poco::Any popped;
    queue.PopRequest(type, popped);
    EXPECT_EQ((std::list<int>{1, 2}), Poco::AnyCast<std::list<int>>(popped));
    EXPECT_EQ((std::list<int>{1, 2, 3}), Poco::AnyCast<std::list<int>>(payload));
}

TEST(CTransferEngineRequestQueueTest, AfterCancelWaitPopTakesNothingAndLeavesItsArgumentsAlone) {
    Queue queue;
    Poco::Any posted(std::string("posted"));
    queue.AddRequest(Queue::REQUEST_GROUP_REMOVE, posted);
    queue.CancelWait();

    for (int i = 0; i < 2; ++i) {
        Queue::RequestType type = Queue::REQUEST_STOP;
        Poco::Any payload(42);
        queue.PopRequest(type, payload);
        EXPECT_EQ(Queue::REQUEST_STOP, type);
        EXPECT_EQ(42, Poco::AnyCast<int>(payload));
    }
}

// Many threads post at once while the worker drains: every request arrives exactly once and
// each producer's requests keep their order.
TEST(CTransferEngineRequestQueueTest, ManyProducersLoseNothingAndKeepEachProducersOrder) {
    constexpr int kProducers = 8;
    constexpr int kPerProducer = 4000;
    Queue queue;

    std::promise<std::vector<std::vector<int>>> received;
    std::future<std::vector<std::vector<int>>> result = received.get_future();
    std::thread worker([&queue, &received] {
        std::vector<std::vector<int>> perProducer(kProducers);
        for (;;) {
            Queue::RequestType type = Queue::REQUEST_INITIATE_TRANSFERS;
            Poco::Any payload;
            queue.PopRequest(type, payload);
            if (type == Queue::REQUEST_STOP) {
                break;
            }
            const auto item = Poco::AnyCast<std::pair<int, int>>(payload);
            perProducer[item.first].push_back(item.second);
        }
        received.set_value(std::move(perProducer));
    });

    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&queue, p] {
            for (int i = 0; i < kPerProducer; ++i) {
                Poco::Any payload(std::make_pair(p, i));
                queue.AddRequest(static_cast<Queue::RequestType>(1 + i % 10), payload);
            }
        });
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    queue.AddRequest(Queue::REQUEST_STOP);

    ASSERT_EQ(std::future_status::ready, result.wait_for(kDeadline));
    worker.join();
    const std::vector<std::vector<int>> perProducer = result.get();
    for (int p = 0; p < kProducers; ++p) {
        SCOPED_TRACE(p);
        ASSERT_EQ(static_cast<size_t>(kPerProducer), perProducer[p].size());
        for (int i = 0; i < kPerProducer; ++i) {
            ASSERT_EQ(i, perProducer[p][i]);
        }
    }
}

// Strict alternation: the worker is always already waiting (or about to) when the next request
// is posted, which is where a lost wake-up would leave it asleep with work queued.
TEST(CTransferEngineRequestQueueTest, WorkerWaitingOnAnEmptyQueueWakesForEveryPost) {
    constexpr int kRounds = 3000;
    Queue queue;
    std::mutex mutex;
    std::condition_variable acknowledged;
    int handled = 0;

    std::thread worker([&] {
        for (;;) {
            Queue::RequestType type = Queue::REQUEST_INITIATE_TRANSFERS;
            Poco::Any payload;
            queue.PopRequest(type, payload);
            if (type == Queue::REQUEST_STOP) {
                return;
            }
            std::lock_guard<std::mutex> lock(mutex);
            ++handled;
            acknowledged.notify_one();
        }
    });

    bool allAcknowledged = true;
    for (int round = 1; round <= kRounds && allAcknowledged; ++round) {
        queue.AddRequest(Queue::REQUEST_INITIATE_TRANSFERS);
        std::unique_lock<std::mutex> lock(mutex);
        allAcknowledged = acknowledged.wait_until(lock, Clock::now() + kDeadline,
                                                  [&] { return handled == round; });
    }
    queue.AddRequest(Queue::REQUEST_STOP);
    worker.join();
    EXPECT_TRUE(allAcknowledged) << "request " << handled + 1 << " was never taken";
    EXPECT_EQ(kRounds, handled);
}

}  // namespace
}  // namespace vx_transfers
