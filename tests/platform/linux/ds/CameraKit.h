// Cameras on the kernel's calls in a test: devices of the shim in a folder, listed as the system's.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/ds/device/Cameras.h"
#include "platform/linux/ds/device/DeviceEnumerator.h"
#include "tests/support/GraphKit.h"
#include "tests/support/TempFolder.h"
#include "tests/support/V4l2Shim.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaSourceEnumerator.h"

namespace Vimbrel::test {

using State = MediaSource::State;
inline constexpr v4l2_fract fps30{1, 30};
inline constexpr v4l2_fract fps60{1, 60};

inline void Pump() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

inline std::int64_t Microseconds() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct Viewer final : MediaSource::Dispatcher {
    void OnStateChanged(MediaSource*, State, State state) override { last_state = state; }
    void OnVideoSample(MediaSource*, unsigned char* data, int columns, int rows, int stride,
                       std::int64_t at, std::int64_t lasts) override {
        const std::lock_guard guard(lock);
        pixels.assign(data, data + std::ptrdiff_t{rows} * stride);
        width = columns;
        time = at;
        duration = lasts;
        ++pictures;
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    std::mutex lock;
    Bytes pixels;
    std::atomic<int> pictures{0};
    std::atomic<State> last_state{State::Closed};
    int width = 0;
    std::int64_t time = -1, duration = -1;
};

// The system's cameras are those below the folder of the test.
class CameraDevice : public testing::Test {
protected:
    explicit CameraDevice(std::chrono::seconds patience = std::chrono::seconds(90))
        : watchdog("camera device", patience) {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        folder_name = folder.path.string();
        enumerator.GetVideoDevices().clear();
    }
    ~CameraDevice() override {
        enumerator.GetVideoDevices().clear();
        CoUninitialize();
    }
    std::string Node(const std::string& name) {
        const std::filesystem::path path = folder.path / name;
        std::ofstream(path).put('x');
        return path.string();
    }
    static ScopedClassOverride SystemCameras() {
        static constexpr DeviceCategory categories[] = {
            {CLSID_VideoInputDeviceCategory, [] { return ListCamerasBelow(folder_name); }}};
        return {CLSID_SystemDeviceEnum, [](REFIID iid, void** object) {
                    return CreateDeviceEnumerator(categories, iid, object);
                }};
    }
    std::vector<std::unique_ptr<MediaSourceCamera>>& Enumerate() {
        const ScopedClassOverride devices = SystemCameras();
        enumerator.EnumerateVideoDS();
        return enumerator.GetVideoDevices();
    }
    // Plays the first listed camera in the format.
    std::unique_ptr<MediaSourceCamera> Play(int format) {
        std::unique_ptr<MediaSourceCamera> camera(Enumerate().at(0)->CreateDevice());
        camera->SetDispatcher(&viewer);
        camera->SetOutputFormat(format);
        EXPECT_TRUE(camera->Open());
        EXPECT_TRUE(camera->Play());
        return camera;
    }
    bool Arrives(ShimCamera& device, const Bytes& bytes, std::int64_t stamp = Microseconds()) {
        const int before = viewer.pictures;
        if (!WaitUntil([&] { return device.Deliver(bytes, stamp); })) return false;
        return WaitUntil([&] { return viewer.pictures > before; });
    }

    const Watchdog watchdog;
    inline static std::string folder_name;
    TempFolder folder;
    Viewer viewer;
    MediaSourceEnumerator& enumerator = *MediaSourceEnumerator::GetInstance();
};

}  // namespace Vimbrel::test
