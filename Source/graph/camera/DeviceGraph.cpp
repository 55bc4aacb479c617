#include "Source/graph/camera/DeviceGraph.h"

#include <cstdlib>

#include "Source/graph/FilterLoader.h"
#include "Source/graph/camera/CameraFormats.h"
#include "base/Failure.h"
#include "filters/GraphWalk.h"
#include "vimbrel/MediaSourceCamera.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_TRACE;
using HalvorixAppLog::LOG_LEVEL_WARN;

HRESULT BindDevice(MediaSourceDSImpl& worker, IMoniker* moniker) {
    ComPtr<IBindCtx> context;
    CreateBindCtx(0, context.Put());
    worker.sourceFilter.Reset();
    if (!moniker) return E_POINTER;
    void* found = nullptr;
    const HRESULT hr = moniker->BindToObject(context.Get(), nullptr, __uuidof(IBaseFilter), &found);
    if (SUCCEEDED(hr)) worker.sourceFilter.Attach(static_cast<IBaseFilter*>(found));
    return hr;
}

// A device without the format keeps its own.
void SetFormat(IPin& output, const MediaSourceCamera& camera) {
    const int index = camera.GetOutputFormat();
    const auto& formats = camera.GetOutputFormats();
    if (index < 0 || static_cast<std::size_t>(index) >= formats.size()) return;
    const MediaSourceCamera::Format& wanted = formats[static_cast<std::size_t>(index)];
    ComPtr<IAMStreamConfig> config;
    void* found = nullptr;
    if (FAILED(output.QueryInterface(__uuidof(IAMStreamConfig), &found))) return;
    config.Attach(static_cast<IAMStreamConfig*>(found));
    for (CMediaType& type : CapabilitiesOf(*config.Get())) {
        const BITMAPINFOHEADER* const header = ReadPictureFormat(type).header;
        // Kept: the rate plays no part, so the first capability of the size is set.
        if (type.majortype != MEDIATYPE_Video || type.subtype != wanted.subtype || !header ||
            header->biWidth != std::abs(wanted.width) ||
            header->biHeight != std::abs(wanted.height))
            continue;
        if (FAILED(config->SetFormat(&type))) continue;
        APPLOG_STREAM(LOG_LEVEL_TRACE,
                      "SetFormat: " << header->biWidth << " x " << header->biHeight);
        return;
    }
}

// Directly, or else through a decoder.
bool Connect(MediaSourceDSImpl& worker, IPin& output, IPin& input) {
    const HRESULT hr = worker.graph->Connect(&output, &input);
    if (SUCCEEDED(hr)) return true;
    APPLOG_FORMAT(LOG_LEVEL_WARN,
                  "Connect device with renderer failed - 0x%08X, will try again with LAV",
                  static_cast<unsigned>(hr));
    if (const auto decoder = CreateVideoDecoder(worker.videoDecoderPath))
        worker.graph->AddFilter(decoder.Get(), L"LAV Video Decoder");
    return SUCCEEDED(LogIfFailed(worker.graph->Connect(&output, &input),
                                 "Connect device with renderer (with LAV decoder added)"));
}

}  // namespace

bool BuildDeviceGraph(MediaSourceDSImpl& worker, MediaSource& owner) {
    if (owner.GetSourceType() != MediaSource::SourceType::Camera) return false;
    auto& camera = static_cast<MediaSourceCamera&>(owner);
    if (FAILED(LogIfFailed(BindDevice(worker, camera.GetMoniker()), "IMoniker BindToObject")) ||
        !worker.CreateGraph())
        return false;
    const HRESULT added =
        worker.graph->AddFilter(worker.sourceFilter.Get(), camera.GetFriendlyName().c_str());
    if (FAILED(LogIfFailed(added, "Add device source filter")) || !worker.AddVideoSink())
        return false;
    ComPtr<IPin> output = FindCapturePin(*worker.sourceFilter.Get());
    if (!output) output = FindPin(*worker.sourceFilter.Get(), PINDIR_OUTPUT);
    const ComPtr<IPin> input = FindPin(*worker.videoSinkFilter.Get(), PINDIR_INPUT);
    if (!output || !input) return false;
    SetFormat(*output.Get(), camera);
    if (!Connect(worker, *output.Get(), *input.Get()) || !worker.FetchControls() ||
        !worker.GetMediaInformation())
        return false;
    // Pictures are shown as they arrive.
    if (const auto filter = worker.graph.As<IMediaFilter>()) filter->SetSyncSource(nullptr);
    return true;
}

}  // namespace Vimbrel
