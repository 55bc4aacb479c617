#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/platform/MfTestKit.h"

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
    HRESULT Queue(MediaEventType type) { return queue->QueueEventParamVar(type, GUID_NULL, S_OK, nullptr); }

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
        EXPECT_EQ(queue->EndGetEvent(result, event.Put()), MF_E_INVALIDREQUEST) << "the second for one request";
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

}  // namespace
}  // namespace Vimbrel::test
