#include "outputs/Mp4Output.h"

#include <mmreg.h>

#include <algorithm>

#include "outputs/RecorderWait.h"
#include "scene/WideText.h"
#include "sound/SoundMixer.h"

namespace studio {

namespace {

// The recorder's own queue has no limit: frames that wait may take this much memory, and no more
// than two seconds.
std::uint64_t WaitingLimit(const CanvasDescription& canvas) {
    constexpr std::uint64_t memory = std::uint64_t{512} << 20;
    const std::uint64_t frame =
        static_cast<std::uint64_t>(canvas.width) * static_cast<std::uint64_t>(canvas.height) * 4;
    return std::clamp<std::uint64_t>(memory / frame, 4,
                                     static_cast<std::uint64_t>(std::max(canvas.fps * 2, 4)));
}

WAVEFORMATEX Format(int sound_rate) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = SoundMixer::channels;
    format.nSamplesPerSec = static_cast<DWORD>(sound_rate);
    format.wBitsPerSample = 16;
    format.nBlockAlign = SoundMixer::channels * 2;
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    return format;
}

}  // namespace

Mp4Output::Mp4Output(const OutputDescription& description, const CanvasDescription& canvas,
                     int rate_of_sound)
    : file(description.file),
      fps(canvas.fps),
      sound_rate(rate_of_sound),
      waiting_limit(WaitingLimit(canvas)),
      recorder(Vimbrel::CreateMediaTranscodeMP4(false)) {
    recorder->SetVideoOutputFormat(canvas.width, canvas.height);
    recorder->SetVideoFps(canvas.fps, 1);
    recorder->SetVideoQuality(description.quality);
    if (sound_rate == 0) return;
    const WAVEFORMATEX format = Format(sound_rate);
    recorder->SetAudioOutputFormat(&format, nullptr);
}

Mp4Output::~Mp4Output() {
    recorder->Stop();
    recorder->Cleanup();
}

std::unique_ptr<Output> Mp4Output::Start(const OutputDescription& description,
                                         const CanvasDescription& canvas, int sound_rate,
                                         std::string& error) {
    std::unique_ptr<Mp4Output> output(new Mp4Output(description, canvas, sound_rate));
    if (!output->recorder->Create(Widen(output->file))) {
        error = description.place + ".file: " + output->file.string() +
                ": cannot be written; the log tells more";
        return nullptr;
    }
    if (!output->recorder->Start()) {
        error = description.place + ": the MP4 recorder cannot be started";
        return nullptr;
    }
    return output;
}

void Mp4Output::Push(const Raster& canvas, std::int64_t time) {
    ++pushed;
    const auto counts = Vimbrel::GetTranscodeStatistics(*recorder);
    if (counts.videoTaken - counts.videoWritten - counts.videoDropped >= waiting_limit) {
        ++refused;
        return;
    }
    const std::int64_t duration = 10'000'000 / fps;
    recorder->SetVideoSample(const_cast<std::uint8_t*>(canvas.pixels.data()),
                             static_cast<unsigned>(canvas.width),
                             static_cast<unsigned>(canvas.height),
                             static_cast<unsigned>(canvas.Stride()), time, duration);
}

void Mp4Output::PushSound(const std::int16_t* frames, std::size_t count, std::int64_t time) {
    if (sound_rate == 0) return;
    recorder->SetAudioSample(const_cast<std::int16_t*>(frames),
                             static_cast<unsigned>(count * SoundMixer::channels * sizeof *frames),
                             time, static_cast<std::int64_t>(count) * 10'000'000 / sound_rate);
}

bool Mp4Output::Finish(std::string& error) {
    WaitForRecorder(*recorder);
    recorder->Stop();
    recorder->Cleanup();
    if (pushed == 0) {
        error = file.string() + ": there was no frame to write";
        return false;
    }
    if (Vimbrel::GetTranscodeStatistics(*recorder).failed) {
        error = file.string() + ": could not be written to its end; is the disk full?";
        return false;
    }
    return true;
}

OutputStatus Mp4Output::Status() const {
    const auto counts = Vimbrel::GetTranscodeStatistics(*recorder);
    std::error_code code;
    const auto size = std::filesystem::file_size(file, code);
    return {pushed, counts.videoWritten, counts.videoDropped + refused, code ? 0 : size};
}

}  // namespace studio
