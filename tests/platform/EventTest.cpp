// Runs on both systems: what the one does is what the other must do.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace Vimbrel::test {
namespace {

constexpr DWORD long_time = 20'000;

class EventTest : public testing::Test {
protected:
    ~EventTest() override {
        for (const HANDLE event : events) CloseHandle(event);
    }

    HANDLE Make(bool manual, bool set = false) {
        return events.emplace_back(CreateEventW(nullptr, manual, set, nullptr));
    }

    std::vector<HANDLE> events;
};

TEST_F(EventTest, AManualEventStaysAndAnAutomaticOneIsTakenByOneWait) {
    const HANDLE manual = Make(true);
    const HANDLE automatic = Make(false);
    for (const HANDLE event : {manual, automatic}) {
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
        EXPECT_TRUE(SetEvent(event));
        EXPECT_TRUE(SetEvent(event));
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    }
    EXPECT_EQ(WaitForSingleObject(manual, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(automatic, 0), WAIT_TIMEOUT);
    for (const HANDLE event : {manual, automatic}) {
        SetEvent(event);
        EXPECT_TRUE(ResetEvent(event));
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    }
    EXPECT_EQ(WaitForSingleObject(Make(true, true), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(Make(false, true), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
}

TEST_F(EventTest, AWaitEndsWithTheEventOrWithItsTime) {
    const HANDLE event = Make(false);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(event, 30), WAIT_TIMEOUT);
    // Windows counts in ticks of up to 16 ms.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(14));

    int written = 0;
    std::thread setter([&] {
        written = 1;
        SetEvent(event);
    });
    EXPECT_EQ(WaitForSingleObject(event, long_time), WAIT_OBJECT_0);
    EXPECT_EQ(written, 1);
    setter.join();
}

TEST_F(EventTest, EachSignalOfAnAutomaticEventIsTakenOnce) {
    const HANDLE work = Make(false);
    const HANDLE taken = Make(false);
    constexpr int rounds = 300;
    std::atomic<int> count{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> takers;
    for (int i = 0; i < 3; ++i) {
        takers.emplace_back([&] {
            while (WaitForSingleObject(work, long_time) == WAIT_OBJECT_0 && !stop) {
                ++count;
                SetEvent(taken);
            }
            SetEvent(work);
        });
    }
    for (int i = 0; i < rounds; ++i) {
        SetEvent(work);
        ASSERT_EQ(WaitForSingleObject(taken, long_time), WAIT_OBJECT_0);
    }
    EXPECT_EQ(count, rounds);
    stop = true;
    SetEvent(work);
    for (std::thread& taker : takers) taker.join();
}

TEST(CriticalSection, ItsOwnerMayEnterAgainAndNobodyElse) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    const auto other_gets_in = [&] {
        bool in = false;
        std::thread([&] {
            in = TryEnterCriticalSection(&section) != FALSE;
            if (in) LeaveCriticalSection(&section);
        }).join();
        return in;
    };
    EXPECT_FALSE(other_gets_in());
    LeaveCriticalSection(&section);
    EXPECT_FALSE(other_gets_in());
    LeaveCriticalSection(&section);
    EXPECT_TRUE(other_gets_in());
    DeleteCriticalSection(&section);
}

TEST(Heap, EndsTheProcessWhenCorrupt) {
    EXPECT_TRUE(HeapSetInformation(nullptr, HeapEnableTerminationOnCorruption, nullptr, 0));
}

}  // namespace
}  // namespace Vimbrel::test
