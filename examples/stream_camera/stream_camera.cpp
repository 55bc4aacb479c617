// Streams a camera and the microphone, where there is one, to an RTMP server until Ctrl-C.
#include <objbase.h>
#include <stringapiset.h>
#include <winuser.h>

#include <atomic>
#include <csignal>
#include <cstdio>

#include <vimbrel/AudioDeviceEnumerator.h>
#include <vimbrel/AudioFactory2.h>
#include <vimbrel/MediaRTMPCast.h>
#include <vimbrel/MediaSourceEnumerator.h>

namespace {

using Source = Vimbrel::MediaSource;

std::atomic<bool> interrupted = false;

// [forwarder]
class Forwarder final : public Source::Dispatcher {
public:
    explicit Forwarder(Vimbrel::CMediaRTMPCast& cast) : cast_(cast) {}

    void OnStateChanged(Source*, Source::State, Source::State) override {}
    void OnVideoSample(Source*, unsigned char* pixels, int width, int height, int stride,
                       std::int64_t time, std::int64_t) override {
        cast_.SetVideoSample(pixels, static_cast<unsigned>(width), static_cast<unsigned>(height),
                             stride, time);
    }
    void OnAudioSample(Source*, unsigned char*, int, std::int64_t, std::int64_t) override {}

private:
    Vimbrel::CMediaRTMPCast& cast_;
};
// [end]

int Fail(const char* why) {
    std::fprintf(stderr, "%s\n", why);
    return 1;
}

// [find]
// The camera of that name, or the first one without a name. It belongs to the caller.
std::unique_ptr<Vimbrel::MediaSourceCamera> FindCamera(const char* name) {
    auto& cameras = *Vimbrel::MediaSourceEnumerator::GetInstance();
    cameras.EnumerateVideoDS();
    for (const auto& camera : cameras.GetVideoDevices()) {
        char listed[256] = "";
        WideCharToMultiByte(CP_UTF8, 0, camera->GetFriendlyName().c_str(), -1, listed,
                            sizeof listed, nullptr, nullptr);
        std::printf("camera: %s\n", listed);
        if (!name || std::string(name) == listed)
            return std::unique_ptr<Vimbrel::MediaSourceCamera>(camera->CreateDevice());
    }
    return nullptr;
}
// [end]

// Changes of the camera's state come as messages: it is gone once it has stopped.
void PumpMessages(DWORD milliseconds) {
    MsgWaitForMultipleObjectsEx(0, nullptr, milliseconds, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

int Stream(const char* url, const char* name) {
    // [open]
    const auto camera = FindCamera(name);
    if (!camera) return Fail(name ? "there is no camera of that name" : "there is no camera");
    // The framing that all servers and players read.
    const auto cast = Vimbrel::CreateRTMPCast({Vimbrel::RTMPCastOptions::Framing::Standard});
    Forwarder forwarder(*cast);
    camera->SetDispatcher(&forwarder);
    if (!camera->Open()) return Fail("the camera does not open; is another program using it?");
    // [end]

    // [microphone]
    auto& devices = *Vimbrel::AudioDeviceEnumerator::GetInstance();
    devices.EnumerateInputDevices();
    const bool has_microphone = !devices.GetInputDevices().empty();
    if (!has_microphone) Fail("there is no microphone: the stream has no sound");
    auto& sound = *Vimbrel::CAudioFactory2::GetInstance();
    sound.SetInputDevice(devices.GetDefaultInputDeviceName().c_str());
    sound.SetDispatcher(
        [&](unsigned char* data, int size, std::int64_t time, std::int64_t duration) {
            cast->SetAudioSample(data, size, time, duration, 0);
        });
    // [end]

    // [cast]
    std::atomic<bool> lost = false;
    const Vimbrel::MediaSource::MEDIA_INFO& picture = camera->GetMediaInfo();
    const int rate = picture.frameRate >= 1 ? static_cast<int>(picture.frameRate) : 30;
    cast->SetServer(url, "", "");
    cast->SetVideoOutputFormat(picture.width & ~1, picture.height & ~1, rate, 1);
    cast->SetAudioOutputFormat(2, 44100, 16000);  // the sound engine's format
    cast->EnableAudio(has_microphone);
    cast->SetCallback([&](int) { lost = true; });
    switch (cast->Start()) {
        case Vimbrel::RTMPCAST_OK:
            break;
        case Vimbrel::RTMPCAST_CONNECTION_FAILED:
            return Fail("there is no such server");
        case Vimbrel::RTMPCAST_STREAM_FAILED:
            return Fail("the server refuses the stream");
        default:
            return Fail("the URL is wrong, or there is no encoder");
    }
    if (has_microphone) sound.Start();
    const bool plays = camera->Play();
    while (plays && !interrupted && !lost && camera->GetState() == Source::State::Playing)
        PumpMessages(100);
    camera->Close();
    if (has_microphone) sound.Stop();
    cast->Stop();
    // [end]
    if (interrupted) return 0;
    return Fail(lost ? "the link to the server was lost" : "the camera delivers nothing");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return Fail("usage: stream_camera rtmp://HOST/APPLICATION/KEY [CAMERA]");
    std::signal(SIGINT, [](int) { interrupted = true; });
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int code = Stream(argv[1], argv[2]);
    CoUninitialize();
    return code;
}
