#include "vimbrel/MediaSourceDS.h"

#include <algorithm>
#include <cmath>

#include "Audio/capture/CDSAudioProcessing.h"
#include "Source/graph/FileGraph.h"
#include "Source/graph/MediaSourceDSImpl.h"
#include "base/Failure.h"
#include "base/SetText.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_WARN;

constexpr long silent = -10'000;  // hundredths of a decibel
constexpr float no_level = -100.0f;
constexpr LONG select_stream = 3;

MediaSourceDSImpl& Worker(MediaSourceImpl* impl) { return static_cast<MediaSourceDSImpl&>(*impl); }

long LevelOf(int percent) {
    return percent == 0 ? silent : static_cast<long>(std::log10(percent / 100.0) * 2000.0);
}

bool Select(MediaSourceDSImpl& worker, int index) {
    return worker.streamSelect && SUCCEEDED(worker.streamSelect->Enable(index, select_stream));
}

}  // namespace

MediaSourceDS::MediaSourceDS() { impl = new MediaSourceDSImpl(BuildFileGraph); }

MediaSourceDS::~MediaSourceDS() { impl->Close(); }

void MediaSourceDS::SetFileName(const wchar_t* name, bool pictures) {
    if (name == fileName.c_str()) return;
    SetText(fileName, name);
    if (name) withVideo = pictures;
}

MediaSource::SourceType MediaSourceDS::GetSourceType() {
    return withVideo ? SourceType::Media : SourceType::Audio;
}

bool MediaSourceDS::SetVideoStream(int index) { return Select(Worker(impl), index); }

bool MediaSourceDS::Open() { return MediaSourceDSImpl::OpenSource(*this); }

void MediaSourceDS::Close() {
    impl->Close();
    SetState(State::Closed);
}

bool MediaSourceDS::Play() {
    if (!impl->Run()) return false;
    volume = static_cast<std::int32_t>(GetVolume());
    SetState(State::Playing);
    return true;
}

bool MediaSourceDS::Pause() { return MediaSourceDSImpl::PauseSource(*this); }
void MediaSourceDS::Stop() { MediaSourceDSImpl::StopSource(*this); }

bool MediaSourceDS::Seek(double seconds) {
    const auto& position = Worker(impl).mediaPosition;
    return position && SUCCEEDED(LogIfFailed(position->put_CurrentPosition(seconds),
                                             "IMediaPosition Seek", LOG_LEVEL_WARN));
}

bool MediaSourceDS::SetStopTime(double seconds) {
    const auto& position = Worker(impl).mediaPosition;
    return position && SUCCEEDED(LogIfFailed(position->put_StopTime(seconds),
                                             "IMediaPosition SetStopTime", LOG_LEVEL_WARN));
}

double MediaSourceDS::GetCurrentPosition() {
    REFTIME seconds = 0.0;
    if (const auto& position = Worker(impl).mediaPosition) position->get_CurrentPosition(&seconds);
    return seconds;
}

double MediaSourceDS::GetDuration() {
    REFTIME seconds = 0.0;
    if (const auto& position = Worker(impl).mediaPosition) position->get_Duration(&seconds);
    return seconds;
}

long MediaSourceDS::GetVolume() {
    if (volume >= 0) return volume;
    LONG level = 0;
    const auto& audio = Worker(impl).basicAudio;
    if (!audio || FAILED(audio->get_Volume(&level))) return 0;
    volume = static_cast<std::int32_t>(std::pow(10.0, level / 2000.0) * 100.0);
    return volume;
}

bool MediaSourceDS::SetVolume(int percent) {
    volume = std::clamp(percent, -100, 100);
    // Kept: only the lower side is limited, so that the device refuses what is too loud.
    const int level = std::max(percent, 0);
    MediaSourceDSImpl& worker = Worker(impl);
    if (worker.audioProcessor) worker.audioProcessor->SetChannelVolume(std::min(level, 100));
    return worker.basicAudio &&
           SUCCEEDED(worker.basicAudio->put_Volume(static_cast<LONG>(LevelOf(level))));
}

long MediaSourceDS::GetPitch() {
    const auto& processor = Worker(impl).audioProcessor;
    return processor ? processor->Pitch() : 0;
}

bool MediaSourceDS::SetPitch(int percent) {
    const auto& processor = Worker(impl).audioProcessor;
    if (processor) processor->SetPitch(percent);
    return static_cast<bool>(processor);
}

long MediaSourceDS::GetAudioStream() { return Worker(impl).audioStream; }

bool MediaSourceDS::SetAudioStream(int index) {
    MediaSourceDSImpl& worker = Worker(impl);
    if (!Select(worker, index)) return false;
    worker.audioStream = index;
    return true;
}

long MediaSourceDS::GetSubtitleStream() { return Worker(impl).subtitleStream; }

bool MediaSourceDS::SetSubtitleStream(int index) {
    MediaSourceDSImpl& worker = Worker(impl);
    if (!Select(worker, index)) return false;
    worker.subtitleStream = index;
    return true;
}

void MediaSourceDS::SetAutoloadSubtitle(bool on) { Worker(impl).autoloadSubtitle = on; }

float MediaSourceDS::GetAudioMeter(unsigned short channel) {
    const auto& status = Worker(impl).audioStatus;
    if (GetState() != State::Playing || !status) return no_level;
    float level = no_level;
    if (SUCCEEDED(status->GetAverageVolume(channel, &level))) return level;
    status->EnableVolumeStatistics();
    return SUCCEEDED(status->GetAverageVolume(channel, &level)) ? level : no_level;
}

void MediaSourceDS::StopAudioMeter() {
    if (const auto& status = Worker(impl).audioStatus) status->DisableVolumeStatistics();
}

void MediaSourceDS::SetRate(int percent) {
    MediaSource::SetRate(percent);
    MediaSourceDSImpl& worker = Worker(impl);
    worker.rate = percent > 0 ? percent : 100;
    if (worker.mediaSeeking) worker.mediaSeeking->SetRate(worker.rate / 100.0);
}

}  // namespace Vimbrel
