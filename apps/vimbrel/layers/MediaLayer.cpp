#include "layers/MediaLayer.h"

#include <objbase.h>

#include "scene/WideText.h"

namespace studio {

namespace {

using Vimbrel::MediaSource;

constexpr DWORD look_milliseconds = 20;

}  // namespace

MediaLayer::MediaLayer(const LayerDescription& layer, const MediaDescription& content)
    : SourceLayer(layer, content.fit), description(content) {}

MediaLayer::~MediaLayer() {
    thread.request_stop();
    if (thread.joinable()) thread.join();
}

std::unique_ptr<Layer> MediaLayer::Open(const LayerDescription& layer,
                                        const MediaDescription& content, std::string& error) {
    std::unique_ptr<MediaLayer> opened(new MediaLayer(layer, content));
    std::promise<bool> promise;
    std::future<bool> result = promise.get_future();
    opened->thread = std::jthread(
        [raw = opened.get(), &promise](const std::stop_token& stop) { raw->Run(stop, promise); });
    if (result.get()) return opened;
    error = layer.place + ".file: " + content.file.string() +
            ": is not a media file with pictures that can be played";
    return nullptr;
}

bool MediaLayer::OpenSource() {
    source.SetFileName(Widen(description.file).c_str(), true);
    source.SetAudioRenderDevice(Widen(description.output));
    source.SetAutoloadSubtitle(description.subtitles);
    source.SetRate(description.rate);
    source.SetDispatcher(this);
    if (!source.Open() || !source.GetMediaInfo().hasVideo) return false;
    if (description.audio_stream >= 0 && !source.SetAudioStream(description.audio_stream))
        return false;
    if (description.stop > 0 && !source.SetStopTime(description.stop)) return false;
    if (description.start > 0 && !source.Seek(description.start)) return false;
    source.SetVolume(description.volume);
    source.SetPitch(description.pitch);
    return source.Play();
}

void MediaLayer::Run(const std::stop_token& stop, std::promise<bool>& opened) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const bool good = OpenSource();
    // From here on the promise may be gone.
    opened.set_value(good);
    while (good && !stop.stop_requested()) {
        DispatchMessages(look_milliseconds);
        // The graph runs on at its end: a seek is enough.
        if (source.GetState() == MediaSource::State::Ended && description.loop) {
            source.Seek(description.start);
            source.Play();
        }
    }
    source.Close();
    CoUninitialize();
}

}  // namespace studio
