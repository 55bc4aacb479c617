#include "vimbrel/MediaSource.h"

#include "Source/MediaSourceImpl.h"

namespace Vimbrel {

MediaSource::MediaSource() = default;

MediaSource::~MediaSource() {
    // First, so that nothing the worker does while it is destroyed reaches the application.
    dispatcher = nullptr;
    delete impl;
    impl = nullptr;
}

void MediaSource::SetAudioRenderDevice(const std::wstring& name) { audioRenderDevice = name; }

void MediaSource::Close() { SetState(State::Closed); }
bool MediaSource::Open() { return false; }
bool MediaSource::Play() { return false; }
bool MediaSource::Pause() { return false; }
void MediaSource::Stop() {}
bool MediaSource::Seek(double) { return false; }
bool MediaSource::SetStopTime(double) { return false; }
double MediaSource::GetCurrentPosition() { return 0.0; }
double MediaSource::GetDuration() { return 0.0; }
void MediaSource::RequestSample() {}
long MediaSource::GetVolume() { return 0; }
bool MediaSource::SetVolume(int) { return false; }
long MediaSource::GetPitch() { return 0; }
bool MediaSource::SetPitch(int) { return false; }
long MediaSource::GetAudioStream() { return 0; }
bool MediaSource::SetAudioStream(int) { return false; }
float MediaSource::GetAudioMeter(unsigned short) { return 0.0f; }
void MediaSource::StopAudioMeter() {}
long MediaSource::GetSubtitleStream() { return 0; }
bool MediaSource::SetSubtitleStream(int) { return false; }
void MediaSource::SetAutoloadSubtitle(bool) {}
void MediaSource::SetRate(int percent) { rate = percent > 0 ? percent : 100; }
int MediaSource::GetRate() const { return rate; }

void MediaSource::SetState(State newState) {
    if (state.load(std::memory_order_relaxed) == newState) return;
    const State oldState = state.exchange(newState);
    if (dispatcher) dispatcher->OnStateChanged(this, oldState, newState);
}

void MediaSource::SetVideoSample(unsigned char* pixels, int width, int height, int stride,
                                 std::int64_t time, std::int64_t duration) {
    if (dispatcher) dispatcher->OnVideoSample(this, pixels, width, height, stride, time, duration);
}

void MediaSource::SetAudioSample(unsigned char* data, int size, std::int64_t time,
                                 std::int64_t duration) {
    if (dispatcher) dispatcher->OnAudioSample(this, data, size, time, duration);
}

}  // namespace Vimbrel
