#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/linux/mf/queue/AsyncResult.h"
#include "tests/platform/linux/mf/MfTestKit.h"

namespace Vimbrel::test {
namespace {

class EventQueueTest : public MediaTest {
protected:
    void SetUp() override {
        MediaTest::SetUp();
        ASSERT_EQ(MFCreateEventQueue(queue.Put()), S_OK);
    }
    void TearDown() override {
        queue->Shutdown();
        MediaTest::TearDown();
    }
    HRESULT Queue(MediaEventType type) {
        return queue->QueueEventParamVar(type, GUID_NULL, S_OK, nullptr);
    }

    ComPtr<IMFMediaEventQueue> queue;
};

MediaEventType TypeOf(IMFMediaEvent* event) {
    MediaEventType type = MEUnknown;
    EXPECT_EQ(event->GetType(&type), S_OK);
    return type;
}

TEST_F(EventQueueTest, EventsComeInOrderWithWhatTheyCarry) {
    ComPtr<IMFMediaEvent> event;
    EXPECT_EQ(queue->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.Put()), MF_E_NO_EVENTS_AVAILABLE);
    PROPVARIANT position{};
    position.vt = VT_I8;
    position.hVal.QuadPart = 7;
    ASSERT_EQ(queue->QueueEventParamVar(MESourceStarted, MF_MT_SUBTYPE, E_ABORT, &position), S_OK);
    ASSERT_EQ(queue->QueueEventParamUnk(MENewStream, GUID_NULL, S_OK, queue.Get()), S_OK);

    ASSERT_EQ(queue->GetEvent(0, event.Put()), S_OK);
    EXPECT_EQ(TypeOf(event.Get()), MESourceStarted);
    HRESULT status = S_OK;
    EXPECT_EQ(event->GetStatus(&status), S_OK);
    EXPECT_EQ(status, E_ABORT);
    GUID extended{};
    EXPECT_EQ(event->GetExtendedType(&extended), S_OK);
    EXPECT_EQ(extended, MF_MT_SUBTYPE);
    PROPVARIANT value{};
    EXPECT_EQ(event->GetValue(&value), S_OK);
    EXPECT_EQ(value.vt, VT_I8);
    EXPECT_EQ(value.hVal.QuadPart, 7);

    ASSERT_EQ(queue->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.Put()), S_OK);
    EXPECT_EQ(event->GetValue(&value), S_OK);
    EXPECT_EQ(value.punkVal, queue.Get());
    PropVariantClear(&value);
}

TEST_F(EventQueueTest, OneRequestIsAnsweredByOneEvent) {
    // Both orders: the request before the event, and the event before the request.
    Counter called;
    std::vector<MediaEventType> types;
    const ComPtr<Callback> callback = MakeCom<Callback>([&](IMFAsyncResult* result) {
        ComPtr<IMFMediaEvent> event;
        EXPECT_EQ(queue->EndGetEvent(result, event.Put()), S_OK);
        types.push_back(TypeOf(event.Get()));
        EXPECT_EQ(queue->EndGetEvent(result, event.Put()), MF_E_INVALIDREQUEST)
            << "the second for one request";
        called.Add();
    });
    for (int i = 0; i < 100; ++i) {
        const bool request_first = i % 2 == 0;
        if (request_first) {
            ASSERT_EQ(queue->BeginGetEvent(callback.Get(), nullptr), S_OK);
        }
        ASSERT_EQ(Queue(static_cast<MediaEventType>(1000 + i)), S_OK);
        if (!request_first) {
            ASSERT_EQ(queue->BeginGetEvent(callback.Get(), nullptr), S_OK);
        }
        ASSERT_TRUE(called.WaitFor(i + 1));
    }
    ASSERT_EQ(types.size(), 100u);
    for (std::size_t i = 0; i < types.size(); ++i) EXPECT_EQ(types[i], 1000 + i);
}

TEST_F(EventQueueTest, OneListenerAtATime) {
    const ComPtr<Callback> one = MakeCom<Callback>([](IMFAsyncResult*) {});
    const ComPtr<Callback> other = MakeCom<Callback>([](IMFAsyncResult*) {});
    ComPtr<IMFMediaEvent> event;
    ASSERT_EQ(queue->BeginGetEvent(one.Get(), queue.Get()), S_OK);
    EXPECT_EQ(queue->BeginGetEvent(one.Get(), queue.Get()), MF_S_MULTIPLE_BEGIN);
    EXPECT_EQ(queue->BeginGetEvent(one.Get(), nullptr), MF_E_MULTIPLE_BEGIN);
    EXPECT_EQ(queue->BeginGetEvent(other.Get(), queue.Get()), MF_E_MULTIPLE_SUBSCRIBERS);
    EXPECT_EQ(queue->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.Put()), MF_E_MULTIPLE_SUBSCRIBERS);
    const ComPtr<AsyncResult> foreign = MakeCom<AsyncResult>(nullptr, one.Get(), nullptr);
    EXPECT_EQ(queue->EndGetEvent(foreign.Get(), event.Put()), MF_E_INVALIDREQUEST);
}

TEST_F(EventQueueTest, ShutdownAnswersEveryoneAndLetsGo) {
    Counter answered;
    Counter gone;
    ComPtr<IMFMediaEventQueue> waited_for;
    ASSERT_EQ(MFCreateEventQueue(waited_for.Put()), S_OK);
    std::thread waiter([&] {
        ComPtr<IMFMediaEvent> event;
        EXPECT_EQ(waited_for->GetEvent(0, event.Put()), MF_E_SHUTDOWN);
    });
    ComPtr<Callback> callback = MakeCom<Callback>([&](IMFAsyncResult* result) {
        ComPtr<IMFMediaEvent> event;
        EXPECT_EQ(result->GetStatus(), MF_E_SHUTDOWN);
        EXPECT_EQ(queue->EndGetEvent(result, event.Put()), MF_E_SHUTDOWN);
        answered.Add();
    });
    callback->gone = &gone;
    ASSERT_EQ(queue->BeginGetEvent(callback.Get(), nullptr), S_OK);
    callback.Reset();
    EXPECT_EQ(gone.Value(), 0);
    EXPECT_EQ(queue->Shutdown(), S_OK);
    EXPECT_EQ(waited_for->Shutdown(), S_OK);
    EXPECT_TRUE(answered.WaitFor(1));
    EXPECT_TRUE(gone.WaitFor(1));
    waiter.join();

    // What nobody fetched goes with the queue.
    ComPtr<IMFMediaEventQueue> full;
    ASSERT_EQ(MFCreateEventQueue(full.Put()), S_OK);
    callback = MakeCom<Callback>([](IMFAsyncResult*) {});
    callback->gone = &gone;
    ASSERT_EQ(full->QueueEventParamUnk(MEMediaSample, GUID_NULL, S_OK, callback.Get()), S_OK);
    callback.Reset();
    EXPECT_EQ(full->Shutdown(), S_OK);
    EXPECT_EQ(gone.Value(), 2);

    ComPtr<IMFMediaEvent> event;
    EXPECT_EQ(full->Shutdown(), MF_E_SHUTDOWN);
    EXPECT_EQ(full->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.Put()), MF_E_SHUTDOWN);
    EXPECT_EQ(full->QueueEventParamVar(MEError, GUID_NULL, S_OK, nullptr), MF_E_SHUTDOWN);
    callback = MakeCom<Callback>([](IMFAsyncResult*) {});
    EXPECT_EQ(full->BeginGetEvent(callback.Get(), nullptr), MF_E_SHUTDOWN);
}

}  // namespace
}  // namespace Vimbrel::test
