#include "platform/linux/mf/queue/WorkQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/platform/linux/mf/MfTestKit.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

using std::chrono::milliseconds;

ComPtr<AsyncResult> Item(std::function<void()> work) {
    const ComPtr<Callback> callback =
        MakeCom<Callback>([work = std::move(work)](IMFAsyncResult*) { work(); });
    return MakeCom<AsyncResult>(nullptr, callback.Get(), nullptr);
}

// Holds what passes through it until it is opened.
class Gate {
public:
    void Pass() {
        arrived.Add();
        EXPECT_TRUE(open_.WaitFor(1));
    }
    void Open() { open_.Add(); }

    Counter arrived;

private:
    Counter open_;
};

bool WaitForThreads(const WorkQueue& queue, std::size_t count) {
    return WaitUntil([&] { return queue.ThreadCount() == count; }, patience);
}

TEST(WorkQueue, BlockedItemsHoldUpNoOthersUpToTheLimit) {
    constexpr int limit = 8;
    const auto queue = std::make_shared<WorkQueue>(limit, milliseconds(20));
    Gate gate;
    Counter done;
    for (int i = 1; i < limit; ++i) {
        ASSERT_EQ(queue->Put(Item([&] { gate.Pass(); })), S_OK);
        ASSERT_EQ(queue->Put(Item([&] { done.Add(); })), S_OK);
        ASSERT_TRUE(gate.arrived.WaitFor(i));
        ASSERT_TRUE(done.WaitFor(i));
    }
    ASSERT_EQ(queue->Put(Item([&] { gate.Pass(); })), S_OK);
    ASSERT_TRUE(gate.arrived.WaitFor(limit));
    // All threads are blocked: what comes now waits, and is done in its order once they are free.
    for (int i = 0; i < 100; ++i) ASSERT_EQ(queue->Put(Item([&] { done.Add(); })), S_OK);
    EXPECT_EQ(queue->ThreadCount(), static_cast<std::size_t>(limit));
    EXPECT_EQ(done.Value(), limit - 1);
    gate.Open();
    EXPECT_TRUE(done.WaitFor(limit - 1 + 100));
    EXPECT_TRUE(WaitForThreads(*queue, 0)) << "threads without work stay";
    ASSERT_EQ(queue->Put(Item([&] { done.Add(); })), S_OK);
    EXPECT_TRUE(done.WaitFor(limit + 100));
    queue->Close();
}

TEST(WorkQueue, ThreadsThatAreNotNeededEndBesideWork) {
    constexpr int burst = 6;
    const auto queue = std::make_shared<WorkQueue>(burst, milliseconds(100));
    Gate gate;
    for (int i = 0; i < burst; ++i) ASSERT_EQ(queue->Put(Item([&] { gate.Pass(); })), S_OK);
    ASSERT_TRUE(gate.arrived.WaitFor(burst));
    gate.Open();
    Counter done;
    int put = 0;
    EXPECT_TRUE(WaitUntil([&] {
        EXPECT_EQ(queue->Put(Item([&] { done.Add(); })), S_OK);
        return done.WaitFor(++put) && queue->ThreadCount() == 1;
    }));
    queue->Close();
}

TEST(WorkQueue, OneThreadKeepsTheOrder) {
    const auto queue = std::make_shared<WorkQueue>(1, WorkQueue::idle_time);
    std::vector<int> order;
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(queue->Put(Item([&order, i] { order.push_back(i); })), S_OK);
    queue->Close();
    ASSERT_EQ(order.size(), 1000u) << "Close drops what waits";
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(queue->Put(Item([] {})), MF_E_SHUTDOWN);
}

TEST(WorkQueue, ManyPutAndEndAtOnce) {
    // Threads end and begin all the time, with an idle time of nothing.
    const auto queue = std::make_shared<WorkQueue>(4, milliseconds(0));
    Counter done;
    std::vector<std::thread> putters;
    for (int i = 0; i < 3; ++i) {
        putters.emplace_back([&] {
            for (int each = 0; each < 500; ++each)
                EXPECT_EQ(queue->Put(Item([&] { done.Add(); })), S_OK);
        });
    }
    for (std::thread& putter : putters) putter.join();
    queue->Close();
    EXPECT_EQ(done.Value(), 1500);
}

TEST(MediaPlatform, StartsAndShutsDownInPairs) {
    const ComPtr<Callback> callback = MakeCom<Callback>([](IMFAsyncResult*) {});
    EXPECT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, callback.Get(), nullptr),
              MF_E_SHUTDOWN);
    EXPECT_EQ(MFStartup(1, MFSTARTUP_FULL), MF_E_BAD_STARTUP_VERSION);
    EXPECT_EQ(MFShutdown(), E_FAIL);
    ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_FULL), S_OK);
    ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_LITE), S_OK);
    EXPECT_EQ(MFShutdown(), S_OK);
    EXPECT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, callback.Get(), nullptr), S_OK);
    EXPECT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD + 1, callback.Get(), nullptr),
              MF_E_INVALID_WORKQUEUE);
    EXPECT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(MFShutdown(), S_OK);
}

TEST(MediaPlatform, ShutdownWaitsForItemsAndFreesCallbacks) {
    Counter gone;
    Counter done;
    ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_FULL), S_OK);
    for (int i = 0; i < 50; ++i) {
        const ComPtr<Callback> callback = MakeCom<Callback>([&](IMFAsyncResult* result) {
            EXPECT_EQ(result->GetStatus(), S_OK);
            done.Add();
        });
        callback->gone = &gone;
        ASSERT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, callback.Get(), callback.Get()),
                  S_OK);
    }
    EXPECT_EQ(MFShutdown(), S_OK);
    EXPECT_EQ(done.Value(), 50);
    EXPECT_EQ(gone.Value(), 50);
}

TEST(MediaPlatform, ShutdownFromAnItemReturnsAtOnce) {
    Gate gate;
    Counter done;
    ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_FULL), S_OK);
    ComPtr<Callback> blocked = MakeCom<Callback>([&](IMFAsyncResult*) {
        gate.Pass();
        done.Add();
    });
    const ComPtr<Callback> ends = MakeCom<Callback>([&](IMFAsyncResult*) {
        EXPECT_EQ(MFShutdown(), S_OK);
        EXPECT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, blocked.Get(), nullptr),
                  MF_E_SHUTDOWN);
        done.Add();
    });
    Counter gone;
    blocked->gone = &gone;
    ASSERT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, blocked.Get(), nullptr), S_OK);
    ASSERT_TRUE(gate.arrived.WaitFor(1));
    ASSERT_EQ(MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, ends.Get(), nullptr), S_OK);
    ASSERT_TRUE(done.WaitFor(1));
    // Another start does not mind what is left of the first.
    ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_FULL), S_OK);
    EXPECT_EQ(MFShutdown(), S_OK);
    gate.Open();
    EXPECT_TRUE(done.WaitFor(2));
    blocked.Reset();
    EXPECT_TRUE(gone.WaitFor(1));
}

}  // namespace
}  // namespace Vimbrel::test
