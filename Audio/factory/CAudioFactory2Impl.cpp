#include "Audio/factory/CAudioFactory2Impl.h"

#include <utility>

namespace Vimbrel {

CAudioFactory2* CAudioFactory2::GetInstance() {
    static CAudioFactory2Impl factory;
    return &factory;
}

CAudioFactory2Impl::CAudioFactory2Impl() : mixer(GetMixer()) {}

CAudioFactory2Impl::~CAudioFactory2Impl() { StopEngine(); }

void CAudioFactory2Impl::Start() {
    if (++users == 1) StartEngine();
}

void CAudioFactory2Impl::Stop() {
    if (--users > 0) return;
    users = 0;
    StopEngine();
}

void CAudioFactory2Impl::SetMediaMixMode(bool on) {
    if (GetMediaMixMode() == on) return;
    StopEngine();
    media_mix_mode.store(on, std::memory_order_relaxed);
    // Kept: also without users, because hosts set the mode before their first Start.
    StartEngine();
}

void CAudioFactory2Impl::SetDispatcher(Dispatcher dispatcher) {
    mixer.SetDispatcher(std::move(dispatcher));
}

void CAudioFactory2Impl::SetInputDevice(const wchar_t* name) {
    capture_device = name ? name : L"";
    if (capture_device.empty()) {
        capture.Close();
    } else {
        static_cast<void>(capture.Start(capture_device));
    }
}

void CAudioFactory2Impl::SetOutputDevice(const wchar_t* name) {
    loopback_device = name ? name : L"";
    if (loopback_device.empty()) {
        loopback.Close();
    } else {
        static_cast<void>(loopback.Initialize(loopback_device));
    }
}

void CAudioFactory2Impl::StartEngine() {
    if (engine_running) return;
    mixer.SetFormat(format);
    mixer.Start();
    engine_running = true;
    if (GetMediaMixMode()) {
        // The microphone is heard through its graph's own filter, and for voice detection.
        capture.Run();
        return;
    }
    StartMicrophone();
    StartSystemSound();
}

// The fourth argument of each source goes into the channel as it comes, whether it is an end or
// not: the channel's rules have been made for that.
void CAudioFactory2Impl::StartMicrophone() {
    if (!capture.Run()) return;
    capture_channel = mixer.AddChannel(&capture.Format());
    capture.SetDispatcher([channel = capture_channel](unsigned char* data, int size,
                                                      std::int64_t start, std::int64_t duration) {
        channel->WriteSamples(data, size, start, duration);
    });
}

void CAudioFactory2Impl::StartSystemSound() {
    if (!loopback.StartThreads()) return;
    loopback_channel = mixer.AddChannel(loopback.MixFormat());
    loopback.SetDispatcher([channel = loopback_channel](unsigned char* data, int size,
                                                        std::uint64_t device_position,
                                                        std::uint64_t qpc_position) {
        channel->WriteSamples(data, size, static_cast<std::int64_t>(device_position),
                              static_cast<std::int64_t>(qpc_position));
    });
}

void CAudioFactory2Impl::StopEngine() {
    capture.Stop();
    loopback.StopThreads();
    // The next run may not bind them, and their channels go.
    capture.SetDispatcher(nullptr);
    loopback.SetDispatcher(nullptr);
    for (CAudioChannel2** channel : {&capture_channel, &loopback_channel}) {
        if (*channel) mixer.RemoveChannel(std::exchange(*channel, nullptr));
    }
    mixer.Stop();
    engine_running = false;
}

}  // namespace Vimbrel
