#include "layers/MediaLayer.h"

#include <objbase.h>

#include "scene/WideText.h"

namespace studio {

namespace {

using Vimbrel::MediaSource;

constexpr DWORD message_wait_ms = 20;

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
    std::promise<std::string> promise;
    std::future<std::string> result = promise.get_future();
    opened->thread = std::jthread(
        [raw = opened.get(), &promise](const std::stop_token& stop) { raw->Run(stop, promise); });
    const std::string wrong = result.get();
    if (wrong.empty()) return opened;
    error = layer.place + wrong;
    return nullptr;
}

std::string MediaLayer::OpenSource() {
    const std::string file = description.file.string();
    source.SetFileName(Widen(description.file).c_str(), true);
    source.SetAudioRenderDevice(Widen(description.output));
    source.SetAutoloadSubtitle(description.subtitles);
    source.SetRate(description.rate);
    source.SetDispatcher(this);
    if (!source.Open() || !source.GetMediaInfo().hasVideo)
        return ".file: " + file + ": is not a media file with pictures that can be played";
    if (!ChooseSound())
        return ".audio-stream: " + file + ": has no stream of sound with that number";
    if (description.stop > 0 && !source.SetStopTime(description.stop))
        return ".stop: " + file + ": does not stop there";
    if (description.start > 0 && !source.Seek(description.start))
        return ".start: " + file + ": does not start there";
    // In the mix, the source has its channel and the channel its volume only from here on.
    source.Pause();
    source.SetVolume(description.volume);
    source.SetPitch(description.pitch);
    return source.Play() ? "" : ".file: " + file + ": does not play";
}

// The source also accepts numbers of streams without sound, so its list decides.
bool MediaLayer::ChooseSound() {
    if (description.audio_stream < 0) return true;
    for (const Vimbrel::StreamInfo& stream : source.GetMediaInfo().audioStreams) {
        if (stream.index == description.audio_stream) return source.SetAudioStream(stream.index);
    }
    return false;
}

void MediaLayer::Run(const std::stop_token& stop, std::promise<std::string>& opened) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const std::string wrong = OpenSource();
    const bool good = wrong.empty();
    // From here on the promise may be gone.
    opened.set_value(wrong);
    while (good && !stop.stop_requested()) {
        DispatchMessages(message_wait_ms);
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
