// A camera of 1920 x 1080 at 30 pictures per second into the dispatcher, against ffmpeg's v4l2 on
// the same device to BGRA: processor time of the whole processes, and what a picture waits.
//
//     camera_capture [--rounds N] [--pictures N]
#include <dlfcn.h>
#include <unistd.h>
#include <winuser.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>

#include "base/ObjectCreation.h"
#include "bench/ChildProcess.h"
#include "bench/camera_shim.h"
#include "platform/linux/ds/device/Cameras.h"
#include "platform/linux/ds/device/DeviceEnumerator.h"
#include "vimbrel/MediaSourceEnumerator.h"

namespace {

using Vimbrel::MediaSource;
using Vimbrel::bench::ChildCost;
using Vimbrel::bench::RunChild;

std::string folder;

double Milliseconds(clockid_t clock, std::int64_t since) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec * 1'000'000'000 + now.tv_nsec - since) * 1e-6;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Viewer final : MediaSource::Dispatcher {
    void OnStateChanged(MediaSource*, MediaSource::State, MediaSource::State) override {}
    void OnVideoSample(MediaSource*, unsigned char*, int, int, int, std::int64_t,
                       std::int64_t) override {
        const CameraShimTimes taken = times();
        waits.push_back(Milliseconds(CLOCK_MONOTONIC, taken.stamp));
        work.push_back(Milliseconds(CLOCK_THREAD_CPUTIME_ID, taken.thread_time));
        ++pictures;
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    CameraShimTimesFunction times = nullptr;
    std::vector<double> waits, work;
    std::atomic<int> pictures{0};
};

// The measured process: prints the median wait and work of a picture.
int Capture(int pictures) {
    Viewer viewer;
    viewer.times =
        reinterpret_cast<CameraShimTimesFunction>(dlsym(RTLD_DEFAULT, camera_times_symbol));
    if (!viewer.times) return 1;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    static constexpr Vimbrel::DeviceCategory categories[] = {
        {CLSID_VideoInputDeviceCategory, [] { return Vimbrel::ListCamerasBelow(folder); }}};
    const Vimbrel::ScopedClassOverride devices(
        CLSID_SystemDeviceEnum, [](REFIID iid, void** object) {
            return Vimbrel::CreateDeviceEnumerator(categories, iid, object);
        });
    auto& list = Vimbrel::MediaSourceEnumerator::GetInstance()->GetVideoDevices();
    Vimbrel::MediaSourceEnumerator::GetInstance()->EnumerateVideoDS();
    if (list.empty()) return 1;
    const std::unique_ptr<Vimbrel::MediaSourceCamera> camera(list[0]->CreateDevice());
    list.clear();
    camera->SetDispatcher(&viewer);
    if (!camera->Open() || !camera->Play()) return 1;
    while (viewer.pictures < pictures) usleep(20'000);
    camera->Close();
    std::ofstream(folder + "/result") << Median(viewer.waits) << ' ' << Median(viewer.work);
    return 0;
}

struct Result {
    ChildCost cost{1e9, 1e9, 1e9};
    double wait = 1e9, work = 1e9;
};

}  // namespace

int main(int count, char** arguments) {
    int rounds = 3;
    int pictures = 300;
    for (int i = 1; i + 1 < count; i += 2) {
        if (std::strcmp(arguments[i], "--rounds") == 0) rounds = std::atoi(arguments[i + 1]);
        if (std::strcmp(arguments[i], "--pictures") == 0) pictures = std::atoi(arguments[i + 1]);
        if (std::strcmp(arguments[i], "--capture") == 0) folder = arguments[i + 1];
    }
    if (!folder.empty()) return Capture(pictures);

    char name[] = "/tmp/camera_capture-XXXXXX";
    folder = mkdtemp(name);
    const std::string path = folder + "/video0";
    const std::string jpeg = folder + "/picture.jpg";
    std::ofstream(path).put('x');
    RunChild({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=1920x1080", "-frames:v",
              "1", "-pix_fmt", "yuvj422p", "-q:v", "4", jpeg});
    const std::string frames = std::to_string(pictures);
    for (const bool compressed : {false, true}) {
        const std::vector<std::string> environment = {
            "env", std::string("LD_PRELOAD=") + CAMERA_SHIM,
            std::string(camera_path_variable) + "=" + path,
            std::string(camera_jpeg_variable) + "=" + (compressed ? jpeg : "")};
        std::vector<std::string> ours = environment;
        ours.insert(ours.end(), {arguments[0], "--capture", folder, "--pictures", frames});
        std::vector<std::string> theirs = environment;
        theirs.insert(theirs.end(),
                      {"ffmpeg", "-v", "error", "-f", "v4l2", "-i", path, "-frames:v", frames, "-f",
                       "rawvideo", "-pix_fmt", "bgra", "-y", "/dev/null"});
        Result best;
        double ffmpeg = 1e9;
        for (int round = 0; round < rounds; ++round) {
            const ChildCost cost = RunChild(ours);
            if (cost.cpu_s < best.cost.cpu_s) best.cost = cost;
            double wait = 0;
            double work = 0;
            std::ifstream(folder + "/result") >> wait >> work;
            best.wait = std::min(best.wait, wait);
            best.work = std::min(best.work, work);
            ffmpeg = std::min(ffmpeg, RunChild(theirs).cpu_s);
        }
        std::printf("%s: %.2f s / %.2f s = %.2f; stamp to dispatcher %.2f ms, of it %.2f ms work\n",
                    compressed ? "MJPEG" : "YUY2", best.cost.cpu_s, ffmpeg,
                    best.cost.cpu_s / ffmpeg, best.wait, best.work);
    }
    std::filesystem::remove_all(folder);
    return 0;
}
