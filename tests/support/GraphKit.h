// Filters, a clock and a graph for tests of filters, on both systems.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/ObjectCreation.h"
#include "com/ComObject.h"
#include "filters/BaseFilter.h"
#include "filters/BaseRenderer.h"
#include "filters/OutputPin.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

constexpr REFERENCE_TIME second = 10'000'000;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Stands still until it is set.
class TestClock final : public ComObject<Implements<IReferenceClock>> {
public:
    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* time) override {
        *time = now;
        ++reads;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT,
                                         DWORD_PTR*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE,
                                             DWORD_PTR*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD_PTR) override { return E_NOTIMPL; }

    // Whoever waits for the time has looked at it once more, and gone on waiting.
    bool WasRead() {
        const int before = reads;
        return WaitUntil([&] { return reads >= before + 3; });
    }

    std::atomic<REFERENCE_TIME> now{1000 * second};
    std::atomic<int> reads{0};
};

// What a graph asks of the seeking of a source. Everything else is E_NOTIMPL.
class TestSeeking : public Face<IMediaSeeking> {
public:
    TestSeeking(IUnknown& owner, LONGLONG lasts) : Face(owner), duration(lasts) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid != __uuidof(IMediaSeeking)) return Face::QueryInterface(iid, object);
        *object = this;
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* time) override {
        *time = duration;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* time) override { return GetDuration(time); }
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG,
                                                const GUID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetRate(double) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetRate(double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG*) override { return E_NOTIMPL; }

private:
    const LONGLONG duration;
};

class TestSource;

// Offers `types`, and carries what the test sends.
class TestOutput final : public CBaseOutputPin {
public:
    TestOutput(TestSource& source, std::wstring name);
    HRESULT CheckMediaType(const CMediaType* type) override;
    std::vector<CMediaType> OfferedTypes() override { return types; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;
    HRESULT DecideAllocator(IMemInputPin* receiver, ComPtr<IMemAllocator>& allocator) override {
        const HRESULT hr = CBaseOutputPin::DecideAllocator(receiver, allocator);
        return hr == S_OK && read_only ? receiver->NotifyAllocator(allocator.Get(), TRUE) : hr;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (seeking && iid == __uuidof(IMediaSeeking)) return seeking->QueryInterface(iid, object);
        return CBaseOutputPin::QueryInterface(iid, object);
    }

    // A sample with times, unless `start` is below 0, and a type, unless it is null.
    HRESULT Send(REFERENCE_TIME start, REFERENCE_TIME end, const CMediaType* type = nullptr);

    std::vector<CMediaType> types;
    LONG size = 64;
    bool read_only = false;  // for whom it sends to
    // Of the last sample, and what it began with. Several threads may send at once.
    std::atomic<BYTE*> last_data{nullptr};
    std::atomic<BYTE> last_byte{0};
    IMediaSeeking* seeking = nullptr;  // not owned
};

// A source without a thread of its own.
class TestSource : public CBaseFilter {
public:
    explicit TestSource(int outputs = 1) : CBaseFilter(GUID_NULL) {
        for (int i = 0; i < outputs; ++i)
            pins.push_back(std::make_unique<TestOutput>(*this, L"Out " + std::to_wstring(i)));
        ++alive;
    }
    ~TestSource() override { --alive; }
    int GetPinCount() override { return static_cast<int>(pins.size()); }
    CBasePin* GetPin(int index) override { return pins[static_cast<std::size_t>(index)].get(); }
    TestOutput& Output(int index = 0) { return *pins[static_cast<std::size_t>(index)]; }

    inline static std::atomic<int> alive{0};

private:
    std::vector<std::unique_ptr<TestOutput>> pins;
};

// Accepts the types of one subtype and keeps the times of what it renders.
class TestRenderer final : public CBaseRenderer {
public:
    explicit TestRenderer(REFGUID accepts) : CBaseRenderer(GUID_NULL), accepted(accepts) {
        ++alive;
    }
    ~TestRenderer() override { --alive; }
    HRESULT CheckMediaType(const CMediaType* type) override {
        return type->subtype == accepted ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }
    HRESULT SetMediaType(const CMediaType* type) override {
        last_size = type->lSampleSize;
        return S_OK;
    }
    HRESULT DoRenderSample(IMediaSample* sample) override {
        REFERENCE_TIME start = -1;
        REFERENCE_TIME end = -1;
        sample->GetTime(&start, &end);
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        last_data = data;
        last_byte = *data;
        last_time = start + Input().SegmentStart();
        ++rendered;
        return S_OK;
    }
    IPin* Pin() { return &Input(); }

    const GUID accepted;
    std::atomic<int> rendered{0};
    std::atomic<REFERENCE_TIME> last_time{-1};
    std::atomic<ULONG> last_size{0};
    std::atomic<BYTE*> last_data{nullptr};
    std::atomic<BYTE> last_byte{0};
    inline static std::atomic<int> alive{0};
};
#pragma GCC diagnostic pop

// Runs a call on a streaming thread of its own.
class Streaming {
public:
    template <class Call>
    explicit Streaming(Call call) : thread([this, call] { result = call(); }) {}
    ~Streaming() {
        if (thread.joinable()) thread.join();
    }
    HRESULT Join() {
        thread.join();
        return result;
    }

private:
    HRESULT result = E_UNEXPECTED;
    std::thread thread;
};

// A filter graph of the system.
class TestGraph {
public:
    TestGraph();
    ~TestGraph();
    TestGraph(const TestGraph&) = delete;
    TestGraph& operator=(const TestGraph&) = delete;

    template <class Interface>
    ComPtr<Interface> As() const {
        return graph.As<Interface>();
    }
    // The next event, or 0 when none comes.
    LONG Event(LONG milliseconds, LONG_PTR* first = nullptr);
    void SetClock(IReferenceClock* clock);

    ComPtr<IFilterGraph2> graph;
    ComPtr<IMediaControl> control;
    ComPtr<IMediaEventEx> events;
};

// A picture format of the size; rows are bottom-up for a height above 0.
CMediaType VideoType(REFGUID subtype, LONG width, LONG height, DWORD image_size,
                     REFERENCE_TIME frame_time = 400'000, REFGUID format = FORMAT_VideoInfo);

}  // namespace Vimbrel::test
