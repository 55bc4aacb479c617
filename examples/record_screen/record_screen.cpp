// Records the first screen, the system's sound and the microphone into an MP4 until Ctrl-C.
#include <objbase.h>
#include <winuser.h>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <thread>

#include <vimbrel/AudioDeviceEnumerator.h>
#include <vimbrel/AudioFactory2.h>
#include <vimbrel/MediaSourceScreen.h>
#include <vimbrel/MediaTranscode.h>

using namespace std::chrono_literals;
using Source = Vimbrel::MediaSource;
std::atomic<bool> interrupted = false;
struct Forwarder final : Source::Dispatcher {
    void OnStateChanged(Source*, Source::State, Source::State) override {}
    void OnAudioSample(Source*, unsigned char*, int, std::int64_t, std::int64_t) override {}
    void OnVideoSample(Source*, unsigned char* pixels, int width, int height, int stride,
                       std::int64_t time, std::int64_t) override {
        file->SetVideoSample(pixels, width, height, stride, time, 400'000);
    }
    std::unique_ptr<Vimbrel::MediaTranscode> file = Vimbrel::CreateMediaTranscodeMP4(false);
};

int main(int argc, char** argv) {
    const auto fail = [](const char* why) { return std::fprintf(stderr, "%s\n", why), 1; };
    if (argc != 2) return fail("usage: record_screen FILE.mp4");
    std::signal(SIGINT, [](int) { interrupted = true; });
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Forwarder forwarder;
    Vimbrel::MediaTranscode& file = *forwarder.file;
    // [recording]
    std::atomic<bool> has_sound = false, recording = false;
    auto& devices = *Vimbrel::AudioDeviceEnumerator::GetInstance();
    devices.EnumerateInputDevices();
    auto& sound = *Vimbrel::CAudioFactory2::GetInstance();
    sound.SetInputDevice(devices.GetDefaultInputDeviceName().c_str());
    sound.SetOutputDevice(L"default");  // as any name that no output has
    sound.SetDispatcher([&](unsigned char* data, int size, std::int64_t time, std::int64_t ticks) {
        has_sound = true;
        if (recording) file.SetAudioSample(data, size, time, ticks);
    });
    sound.Start();
    for (int i = 0; i < 200 && !has_sound; ++i) std::this_thread::sleep_for(10ms);
    if (!has_sound) sound.Stop(), fail("no device delivers sound: the file has none");
    Vimbrel::MediaSourceScreen::Settings settings;
    RECT& area = settings.rect;
    const auto take_first = [](HMONITOR, HDC, RECT* place, LPARAM rect) -> BOOL {
        return *reinterpret_cast<RECT*>(rect) = *place, FALSE;
    };
    EnumDisplayMonitors(nullptr, nullptr, take_first, reinterpret_cast<LPARAM>(&area));
    area.right -= (area.right - area.left) & 1;  // the file takes even sizes only
    area.bottom -= (area.bottom - area.top) & 1;
    file.SetVideoOutputFormat(area.right - area.left, area.bottom - area.top);
    if (has_sound) file.SetAudioOutputFormat(sound.GetFormat(), nullptr);
    Vimbrel::MediaSourceScreen screen;
    screen.SetDispatcher(&forwarder);
    if (area.right <= area.left || !screen.Open(&settings))
        return sound.Stop(), fail("there is no screen; on Wayland, ScreenAccess.h asks for one");
    if (!file.Create(std::filesystem::absolute(argv[1]).wstring()) || !file.Start())
        return sound.Stop(), fail("the file cannot be written");
    const auto waiting = [&] {
        const auto counts = Vimbrel::GetTranscodeStatistics(file);
        return counts.videoTaken - counts.videoWritten - counts.videoDropped;
    };
    recording = true;  // each medium counts from its first sample: both begin here
    while (!interrupted && !screen.IsLost()) {
        if (waiting() < 200) screen.RequestSample();  // otherwise the encoder is too slow
        std::this_thread::sleep_for(40ms);            // at most 25 pictures per second
    }
    sound.Stop();
    for (int i = 0; i < 1000 && waiting() > 0; ++i) std::this_thread::sleep_for(10ms);
    file.Stop();  // drops what still waits, ends the file
    // [end]
    return Vimbrel::GetTranscodeStatistics(file).failed ? fail("the file is not whole") : 0;
}
