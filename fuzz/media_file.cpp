// Opens the input as a media file with all its decoders and its subtitles, plays it without a
// clock, seeks, and closes it.
#include <control.h>
#include <objbase.h>
#include <strmif.h>
#include <sys/mman.h>
#include <unistd.h>
#include <uuids.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/ObjectCreation.h"
#include "filters/Enumerators.h"
#include "filters/OutsideInterfaces.h"
#include "vimbrel/DSRenderAudio.h"
#include "vimbrel/DSRenderVideo.h"

namespace {

using Vimbrel::ComPtr;

// Damaged streams may pretend to be long; what a second of decoding does not find stays unfound.
constexpr LONG patience = 1000;

class Sink final : public Vimbrel::IDSRenderVideo::CDispatcher,
                   public Vimbrel::IDSRenderAudio::CDispatcher {
public:
    void OnVideoSample(unsigned char* pixels, int width, int height, int stride, std::int64_t,
                       std::int64_t) override {
        if (width > 0 && height > 0) sum += pixels[std::ptrdiff_t{height - 1} * stride];
    }
    void OnAudioSample(unsigned char* data, int size, std::int64_t, std::int64_t) override {
        if (size > 0) sum += data[size - 1];
    }
    // Reads the ends of what comes, where a sanitizer looks.
    std::atomic<unsigned> sum{0};
};

template <class Made>
void AddSink(IGraphBuilder& graph, void (*create)(Made**), Sink& sink, const wchar_t* name) {
    Made* made = nullptr;
    create(&made);
    made->SetDispatcher(&sink);
    void* found = nullptr;
    made->QueryInterface(__uuidof(IBaseFilter), &found);
    ComPtr<IBaseFilter> filter;
    filter.Attach(static_cast<IBaseFilter*>(found));
    graph.AddFilter(filter.Get(), name);
    made->Release();
}

void Play(const std::wstring& path) {
    Sink sink;
    ComPtr<IFilterGraph2> graph;
    ComPtr<IBaseFilter> source;
    if (FAILED(Vimbrel::CreateObject(CLSID_FilterGraph, graph)) ||
        FAILED(graph->AddSourceFilter(path.c_str(), nullptr, source.Put())))
        return;
    for (const CLSID& clsid : {Vimbrel::class_video_decoder, Vimbrel::class_audio_decoder,
                               Vimbrel::class_subtitle_filter}) {
        ComPtr<IBaseFilter> filter;
        Vimbrel::CreateObject(clsid, filter);
        graph->AddFilter(filter.Get(), nullptr);
    }
    AddSink(*graph.Get(), Vimbrel::CreateDSRenderVideo, sink, L"Pictures");
    AddSink(*graph.Get(), Vimbrel::CreateDSRenderAudio, sink, L"Sound");
    graph.As<IMediaFilter>()->SetSyncSource(nullptr);
    for (const ComPtr<IPin>& pin : Vimbrel::PinsOf(*source.Get()))
        graph->RenderEx(pin.Get(), 1, nullptr);
    const auto control = graph.As<IMediaControl>();
    const auto events = graph.As<IMediaEventEx>();
    const auto position = graph.As<IMediaPosition>();
    REFTIME duration = 0;
    position->get_Duration(&duration);
    for (const double part : {0.0, 0.5}) {
        if (part > 0) position->put_CurrentPosition(duration * part);
        if (FAILED(control->Run())) break;
        LONG code = 0;
        LONG_PTR first = 0;
        LONG_PTR second = 0;
        events->GetEvent(&code, &first, &second, patience);
    }
    control->Stop();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = memfd_create("media", 0);
    static const std::wstring path = L"/proc/self/fd/" + std::to_wstring(file);
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size))
        return 0;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Play(path);
    CoUninitialize();
    return 0;
}
