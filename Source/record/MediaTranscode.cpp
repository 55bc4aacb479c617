#include "vimbrel/MediaTranscode.h"

#include "Source/record/TranscodeCounters.h"

namespace Vimbrel {

MediaTranscode::MediaTranscode() = default;
MediaTranscode::MediaTranscode(const MediaTranscode& other) = default;
MediaTranscode& MediaTranscode::operator=(const MediaTranscode& other) = default;
MediaTranscode::~MediaTranscode() = default;

bool MediaTranscode::Create(const std::wstring& name) {
    if (&name != &filename) filename = name;
    return OnCreate();
}

bool MediaTranscode::Start() { return OnStart(); }
void MediaTranscode::Stop() { OnStop(); }
void MediaTranscode::Cleanup() { OnCleanup(); }

void MediaTranscode::SetVideoSample(void*, unsigned, unsigned, unsigned, std::int64_t,
                                    std::int64_t) {}
void MediaTranscode::SetAudioSample(void*, unsigned, std::int64_t, std::int64_t) {}
void MediaTranscode::SetVideoOutputFormat(int, int) {}
void MediaTranscode::SetVideoFps(int, int) {}
void MediaTranscode::SetVideoQuality(int) {}
void MediaTranscode::SetAudioOutputFormat(const WAVEFORMATEX*, const unsigned char*) {}
bool MediaTranscode::OnCreate() { return false; }
void MediaTranscode::OnCleanup() {}
bool MediaTranscode::OnStart() { return false; }
void MediaTranscode::OnStop() {}

TranscodeStatistics GetTranscodeStatistics(const MediaTranscode& recorder) {
    const auto* counters = dynamic_cast<const TranscodeCounters*>(&recorder);
    return counters ? counters->Read() : TranscodeStatistics{};
}

}  // namespace Vimbrel
