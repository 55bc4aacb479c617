#include "tests/support/GraphKit.h"

namespace Vimbrel::test {

TestOutput::TestOutput(TestSource& source, std::wstring name)
    : CBaseOutputPin(source, std::move(name)) {}

HRESULT TestOutput::CheckMediaType(const CMediaType* type) {
    for (const CMediaType& each : types) {
        if (each.subtype == type->subtype) return S_OK;
    }
    return VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT TestOutput::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
    properties->cBuffers = 2;
    properties->cbBuffer = size;
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(properties, &actual);
}

HRESULT TestOutput::Send(REFERENCE_TIME start, REFERENCE_TIME end, const CMediaType* type) {
    ComPtr<IMediaSample> sample;
    HRESULT hr = GetDeliveryBuffer(sample.Put());
    if (FAILED(hr)) return hr;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    *data = 1;
    last_data = data;
    sample->SetTime(start < 0 ? nullptr : &start, start < 0 ? nullptr : &end);
    CMediaType copy = type ? *type : CMediaType();
    sample->SetMediaType(type ? &copy : nullptr);
    hr = Deliver(sample.Get());
    last_byte = *data;
    return hr;
}

TestGraph::TestGraph() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    EXPECT_EQ(CreateObject(CLSID_FilterGraph, graph), S_OK);
    control = graph.As<IMediaControl>();
    events = graph.As<IMediaEventEx>();
}

TestGraph::~TestGraph() {
    if (control) control->Stop();
    control.Reset();
    events.Reset();
    graph.Reset();
    CoUninitialize();
}

LONG TestGraph::Event(LONG milliseconds, LONG_PTR* first) {
    LONG code = 0;
    LONG_PTR one = 0;
    LONG_PTR two = 0;
    if (FAILED(events->GetEvent(&code, &one, &two, milliseconds))) return 0;
    if (first) *first = one;
    events->FreeEventParams(code, one, two);
    return code;
}

void TestGraph::SetClock(IReferenceClock* clock) {
    EXPECT_EQ(As<IMediaFilter>()->SetSyncSource(clock), S_OK);
}

CMediaType VideoType(REFGUID subtype, LONG width, LONG height, DWORD image_size,
                     REFERENCE_TIME frame_time, REFGUID format) {
    CMediaType type;
    type.majortype = MEDIATYPE_Video;
    type.subtype = subtype;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = image_size;
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biSizeImage = image_size;
    if (format == FORMAT_VideoInfo || format == FORMAT_MPEGVideo) {
        MPEG1VIDEOINFO info{};
        info.hdr.AvgTimePerFrame = frame_time;
        info.hdr.bmiHeader = header;
        const bool plain = format == FORMAT_VideoInfo;
        type.SetFormat(format, &info, plain ? sizeof info.hdr : sizeof info);
    } else {
        MPEG2VIDEOINFO info{};
        info.hdr.AvgTimePerFrame = frame_time;
        info.hdr.bmiHeader = header;
        const bool plain = format == FORMAT_VideoInfo2;
        type.SetFormat(format, &info, plain ? sizeof info.hdr : sizeof info);
    }
    return type;
}

}  // namespace Vimbrel::test
