#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/CThreadPoco.h"

namespace vx_transfers {
namespace {

// A thread body that runs until the test releases it.
class CGatedCallback : public IThread::ICallback {
public:
    void run() override {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_runs;
        m_changed.notify_all();
        m_changed.wait_for(lock, std::chrono::seconds(20), [this] { return m_released; });
    }

    bool waitForRuns(int runs) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(20), [&] { return m_runs >= runs; });
    }
    void release() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
    }
    int runs() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_runs;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_runs = 0;
    bool m_released = false;
};

class CThrowingCallback : public IThread::ICallback {
public:
    void run() override { throw std::runtime_error("callback failure"); }
};

struct ThreadDeleter {
    void operator()(IThread* thread) const { IThread::destroy(thread); }
};
using ThreadPtr = std::unique_ptr<IThread, ThreadDeleter>;

TEST(CThreadPocoTest, SecondStartWhileRunningIsRefusedAndKeepsTheCallback) {
    ThreadPtr thread(IThread::create());
    ASSERT_NE(nullptr, thread);
    CGatedCallback first;
    CGatedCallback second;

    ASSERT_EQ(0, thread->start(&first));
    ASSERT_TRUE(first.waitForRuns(1));
    EXPECT_EQ(5, thread->start(&second));

    first.release();
    thread->join();
    EXPECT_EQ(1, first.runs());
    EXPECT_EQ(0, second.runs());
}

TEST(CThreadPocoTest, StartsAgainAfterTheFirstRunEnded) {
    ThreadPtr thread(IThread::create());
    CGatedCallback callback;
    callback.release();
    ASSERT_EQ(0, thread->start(&callback));
    thread->join();
    ASSERT_EQ(0, thread->start(&callback));
    thread->join();
    EXPECT_EQ(2, callback.runs());

    // Not joined in between: the finished thread is released by the next start.
    ASSERT_EQ(0, thread->start(&callback));
    ASSERT_TRUE(callback.waitForRuns(3));
    thread->join();
    ASSERT_EQ(0, thread->start(&callback));
    thread->join();
    EXPECT_EQ(4, callback.runs());
}

TEST(CThreadPocoTest, NullOrThrowingCallbackEndsTheThreadQuietly) {
    ThreadPtr thread(IThread::create());
    ASSERT_EQ(0, thread->start(nullptr));
    thread->join();
    CThrowingCallback throwing;
    ASSERT_EQ(0, thread->start(&throwing));
    thread->join();
    thread->join();
}

TEST(CThreadPocoTest, SleepWaitsAtLeastTheTimeGiven) {
    const auto before = std::chrono::steady_clock::now();
    IThread::sleep(20);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

}  // namespace
}  // namespace vx_transfers
