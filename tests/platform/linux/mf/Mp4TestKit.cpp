#include "tests/platform/linux/mf/Mp4TestKit.h"

namespace Vimbrel::test {

HRESULT Open(const std::string& path, const Scene& scene,
             std::unique_ptr<TranscodePipeline>& pipeline) {
    const VideoInput video_input = {scene.width, scene.height, scene.fps_num, scene.fps_den};
    const VideoOutput video_output = {scene.width,   scene.height,   scene.fps_num,
                                      scene.fps_den, scene.bit_rate, 77};
    const AudioInput audio_input = {scene.sound_rate, scene.channels, scene.bits, scene.is_float};
    const AudioOutput audio_output = {scene.out_rate, scene.out_channels, 12000};
    const bool video = scene.width != 0;
    const bool audio = scene.sound_rate != 0;
    return TranscodePipeline::Create(
        path, video ? &video_input : nullptr, video ? &video_output : nullptr,
        audio ? &audio_input : nullptr, audio ? &audio_output : nullptr, true, pipeline);
}

HRESULT Push(TranscodePipeline& pipeline, const Scene& scene, int frames) {
    constexpr std::size_t block = 1000;
    std::int64_t pushed = 0;
    for (int i = 0; i < frames; ++i) {
        if (scene.width != 0) {
            const Bytes frame = Frame(scene, i);
            const HRESULT hr =
                pipeline.WriteVideo(frame.data(), frame.size(), scene.FrameTime(i), 0);
            if (FAILED(hr)) return hr;
        }
        while (scene.sound_rate != 0 &&
               pushed * second / scene.sound_rate < scene.FrameTime(i + 1)) {
            const Bytes sound = Sound(scene, pushed, block,
                                      [&](std::int64_t sample) { return Sine(scene, sample); });
            const HRESULT hr = pipeline.WriteAudio(sound.data(), sound.size(),
                                                   pushed * second / scene.sound_rate, 0);
            if (FAILED(hr)) return hr;
            pushed += static_cast<std::int64_t>(block);
        }
    }
    return S_OK;
}

HRESULT Record(const std::string& path, const Scene& scene, int frames) {
    std::unique_ptr<TranscodePipeline> pipeline;
    HRESULT hr = Open(path, scene, pipeline);
    if (SUCCEEDED(hr)) hr = Push(*pipeline, scene, frames);
    return SUCCEEDED(hr) ? pipeline->Finish() : hr;
}

}  // namespace Vimbrel::test
