#include "Source/graph/AudioBranch.h"

#include "Audio/capture/CDSAudioProcessing.h"
#include "base/Failure.h"
#include "filters/GraphWalk.h"
#include "vimbrel/AudioDeviceEnumerator.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;
using HalvorixAppLog::LOG_LEVEL_TRACE;

// Takes the processor out again and connects the two that it was to stand between.
void Restore(MediaSourceDSImpl& worker, IPin& upstream, IPin& renderer) {
    worker.graph->RemoveFilter(worker.audioProcessor.Get());
    worker.audioProcessor.Reset();
    worker.graph->Connect(&upstream, &renderer);
}

}  // namespace

bool AddAudioRenderer(MediaSourceDSImpl& worker) {
    const std::wstring name = worker.owner->GetAudioRenderDevice();
    if (name.empty()) return false;
    worker.audioRenderer.Reset();
    const bool found =
        AudioDeviceEnumerator::GetAudioFilter(name, false, worker.audioRenderer.Put());
    if (!found || !worker.audioRenderer) {
        APPLOG_STREAM(LOG_LEVEL_ERROR, "Get audio renderer failed: " << name);
        return false;
    }
    const HRESULT hr = worker.graph->AddFilter(worker.audioRenderer.Get(), L"Audio Renderer");
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "Add audio renderer failed: 0x%08X",
                      static_cast<unsigned>(hr));
        worker.audioRenderer.Reset();
        return false;
    }
    APPLOG_STREAM(LOG_LEVEL_TRACE, "Audio renderer: " << name);
    return true;
}

bool InsertAudioProcessor(MediaSourceDSImpl& worker) {
    IGraphBuilder& graph = *worker.graph.Get();
    const ComPtr<IPin> renderer = FindPin(*worker.audioRenderer.Get(), PINDIR_INPUT);
    ComPtr<IPin> upstream;
    if (!renderer || FAILED(renderer->ConnectedTo(upstream.Put())) || !upstream) return false;
    if (FAILED(graph.Disconnect(upstream.Get())) || FAILED(graph.Disconnect(renderer.Get())))
        return false;
    HRESULT hr = CreateDSAudioProcessing(worker.audioProcessor.Put());
    if (SUCCEEDED(hr)) hr = graph.AddFilter(worker.audioProcessor.Get(), nullptr);
    if (FAILED(LogIfFailed(hr, "Add audio processor"))) {
        worker.audioProcessor.Reset();
        graph.Connect(upstream.Get(), renderer.Get());
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "Reconnect audio renderer with previously connected one");
        return false;
    }
    const ComPtr<IPin> input = FindPin(*worker.audioProcessor.Get(), PINDIR_INPUT);
    hr = graph.Connect(upstream.Get(), input.Get());
    if (FAILED(LogIfFailed(hr, "Connect to audio processor"))) {
        Restore(worker, *upstream.Get(), *renderer.Get());
        return false;
    }
    const ComPtr<IPin> output = FindPin(*worker.audioProcessor.Get(), PINDIR_OUTPUT);
    hr = graph.Connect(output.Get(), renderer.Get());
    if (FAILED(LogIfFailed(hr, "Connect audio processor with renderer"))) {
        Restore(worker, *upstream.Get(), *renderer.Get());
        return false;
    }
    return true;
}

}  // namespace Vimbrel
