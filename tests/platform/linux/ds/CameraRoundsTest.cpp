// Cameras under random control while they deliver, vanish and come back, and opened many times.
#include <algorithm>
#include <random>
#include <shared_mutex>

#include "tests/fakes/CapturingLog.h"
#include "tests/platform/linux/ds/BusyDevice.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/Rounds.h"
#include "vimbrel/DSRenderVideo.h"

namespace Vimbrel::test {
namespace {

constexpr int operations = 100;  // per seed
constexpr std::chrono::seconds patience(60);

// Notes what comes at the wrong time or on the wrong thread.
struct Auditor final : MediaSource::Dispatcher {
    void OnStateChanged(MediaSource*, State, State) override {
        if (std::this_thread::get_id() != opener) ++faults;
    }
    void OnVideoSample(MediaSource*, unsigned char* data, int, int rows, int stride, std::int64_t,
                       std::int64_t) override {
        if (closed) ++faults;
        if (data[std::ptrdiff_t{rows} * stride - 1] != 255) ++faults;
        ++pictures;
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {
        ++faults;
    }
    const std::thread::id opener = std::this_thread::get_id();
    std::atomic<bool> closed{true};
    std::atomic<int> faults{0};
    std::atomic<int> pictures{0};
};

ULONG ReferencesOf(IUnknown& object) {
    object.AddRef();
    return object.Release();
}

class CameraRounds : public CameraDevice {
protected:
    // Each seed has a watchdog of its own.
    CameraRounds() : CameraDevice(std::chrono::hours(1)) {}
    // A camera on the device as it is now; null while it is unplugged.
    std::unique_ptr<MediaSourceCamera> NewCamera(std::mt19937& random) {
        enumerator.GetVideoDevices().clear();
        if (Enumerate().empty()) return nullptr;
        std::unique_ptr<MediaSourceCamera> camera(enumerator.GetVideoDevices()[0]->CreateDevice());
        camera->SetDispatcher(&auditor);
        camera->SetOutputFormat(static_cast<int>(random() % 5) - 1);
        return camera;
    }
    void Operate(std::mt19937& random, BusyDevice& device,
                 std::unique_ptr<MediaSourceCamera>& camera) {
        const unsigned operation = random() % 16;
        if (operation < 2) device.Plug();
        if (operation == 2) device.Unplug();
        if (!camera) camera = NewCamera(random);
        if (!camera) return device.Plug();
        switch (operation) {
            case 3:
            case 4:
                camera->Close();
                auditor.closed = true;
                camera.reset();
                break;
            case 5:
                // While it plays, perhaps.
                camera.reset();
                auditor.closed = true;
                break;
            case 6:
            case 7:
                camera->Pause();
                break;
            case 8:
            case 9:
                camera->Stop();
                break;
            case 10:
            case 11:
                Pump();
                break;
            default:
                if (camera->GetState() == State::Closed) {
                    auditor.closed = false;
                    if (!camera->Open()) auditor.closed = true;
                }
                if (camera->GetState() != State::Closed && camera->Play()) Linger(auditor.pictures);
                break;
        }
    }
    // After whatever has happened to it.
    bool StillDelivers(std::mt19937& random, BusyDevice& device,
                       std::unique_ptr<MediaSourceCamera>& camera) {
        device.Calm();
        device.Plug();
        camera = NewCamera(random);
        auditor.closed = false;
        const int before = auditor.pictures;
        return camera && camera->Open() && camera->Play() &&
               WaitUntil([&] { return auditor.pictures > before; });
    }
    Auditor auditor;
};

TEST_F(CameraRounds, RandomControlOfASourceNeitherHangsNorLeaks) {
    const int seeds = Rounds(3);
    const std::size_t files = ProcessCounts::Now().handles;
    for (unsigned seed = 1; seed <= static_cast<unsigned>(seeds); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::printf("seed %u\n", seed);
        const Watchdog hang("random control of a camera", patience);
        BusyDevice device(Node("video0"), seed);
        std::mt19937 random(seed);
        std::unique_ptr<MediaSourceCamera> camera;
        for (int i = 0; i < operations; ++i) Operate(random, device, camera);
        EXPECT_TRUE(StillDelivers(random, device, camera));
        camera.reset();
        auditor.closed = true;
        Pump();
        for (const auto& each : enumerator.GetVideoDevices())
            EXPECT_EQ(ReferencesOf(*each->GetMoniker()), 1u) << "only the list's own";
        enumerator.GetVideoDevices().clear();
        EXPECT_EQ(auditor.faults, 0);
    }
    // The queue of this thread's messages stays.
    EXPECT_LE(ProcessCounts::Now().handles, files + 1);
    std::printf("%d operations, %d pictures\n", seeds * operations, auditor.pictures.load());
}

struct Counter final : IDSRenderVideo::CDispatcher {
    void OnVideoSample(unsigned char*, int, int, int, std::int64_t, std::int64_t) override {
        ++pictures;
    }
    std::atomic<int> pictures{0};
};

ComPtr<IPin> FirstPin(IBaseFilter& filter) {
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    filter.EnumPins(pins.Put());
    pins->Next(1, pin.Put(), nullptr);
    return pin;
}

// The device's filter and the sink in a graph that two threads control.
class CameraGraph {
public:
    CameraGraph(const std::string& folder, Counter& pictures) : counter(pictures) {
        IDSRenderVideo* made = nullptr;
        CreateDSRenderVideo(&made);
        sink = made;
        sink->SetDispatcher(&counter);
        void* found = nullptr;
        sink->QueryInterface(__uuidof(IBaseFilter), &found);
        renderer.Attach(static_cast<IBaseFilter*>(found));
        input = FirstPin(*renderer.Get());
        graph.graph->AddFilter(renderer.Get(), nullptr);
        const std::vector<DeviceEntry> devices = ListCamerasBelow(folder);
        found = nullptr;
        if (devices.empty() || FAILED(devices[0].create(__uuidof(IBaseFilter), &found))) return;
        camera.Attach(static_cast<IBaseFilter*>(found));
        output = FirstPin(*camera.Get());
        graph.graph->AddFilter(camera.Get(), nullptr);
        graph.graph->Connect(output.Get(), input.Get());
        if (const auto filter = graph.As<IMediaFilter>()) filter->SetSyncSource(nullptr);
    }
    ~CameraGraph() {
        graph.control->Stop();
        if (camera) graph.graph->RemoveFilter(camera.Get());
        graph.graph->RemoveFilter(renderer.Get());
        input.Reset();
        output.Reset();
        renderer.Reset();
        EXPECT_EQ(sink->Release(), 0u);
        if (camera) {
            EXPECT_EQ(camera.Detach()->Release(), 0u);
        }
    }
    CameraGraph(const CameraGraph&) = delete;
    CameraGraph& operator=(const CameraGraph&) = delete;

    void Run() { EXPECT_GE(graph.control->Run(), 0); }
    void Operate(std::mt19937& random) {
        const unsigned operation = random() % 12;
        if (operation < 9) {
            const std::shared_lock beside_each_other(connections);
            Control(operation, static_cast<LONGLONG>(random() % second));
        } else if (camera) {
            const std::lock_guard alone(connections);
            if (random() % 2 == 0) graph.control->Stop();
            Change(operation);
        }
        while (graph.Event(0) != 0) {
        }
    }

private:
    void Control(unsigned operation, LONGLONG place) {
        const auto seeking = graph.As<IMediaSeeking>();
        if (operation < 4 && SUCCEEDED(graph.control->Run())) Linger(counter.pictures);
        if (operation == 4 || operation == 5) graph.control->Pause();
        if (operation == 6) graph.control->Stop();
        if (operation == 7)
            seeking->SetPositions(&place, AM_SEEKING_AbsolutePositioning, nullptr, 0);
        if (operation == 8) seeking->SetRate(2.0);
    }
    void Change(unsigned operation) {
        if (operation == 9) {
            // A graph that runs refuses, at both ends.
            if (SUCCEEDED(graph.graph->Disconnect(input.Get())))
                graph.graph->Disconnect(output.Get());
        } else {
            IBaseFilter* const filter = operation == 10 ? camera.Get() : renderer.Get();
            graph.graph->RemoveFilter(filter);
            graph.graph->AddFilter(filter, nullptr);
        }
        graph.graph->Connect(output.Get(), input.Get());
    }

    Counter& counter;
    TestGraph graph;
    std::shared_mutex connections;
    IDSRenderVideo* sink = nullptr;
    ComPtr<IBaseFilter> renderer;
    ComPtr<IPin> input;
    ComPtr<IBaseFilter> camera;  // null while the device is unplugged
    ComPtr<IPin> output;
};

TEST_F(CameraRounds, RandomControlOfAGraphNeitherHangsNorLeaks) {
    const int seeds = Rounds(3);
    Counter counter;
    const std::size_t files = ProcessCounts::Now().handles;
    for (unsigned seed = 1; seed <= static_cast<unsigned>(seeds); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::printf("seed %u\n", seed);
        const Watchdog hang("random control of a camera's graph", patience);
        BusyDevice device(Node("video0"), seed);
        std::mt19937 random(seed);
        for (int round = 0; round < 2; ++round) {
            device.Plug();
            CameraGraph graph(folder_name, counter);
            std::thread other([&graph, seed] {
                std::mt19937 own(seed + 1000);
                for (int i = 0; i < operations / 4; ++i) graph.Operate(own);
            });
            for (int i = 0; i < operations / 4; ++i) {
                if (random() % 20 == 0) device.Unplug();
                graph.Operate(random);
            }
            other.join();
        }
        device.Calm();
        device.Plug();
        CameraGraph graph(folder_name, counter);
        const int before = counter.pictures;
        graph.Run();
        EXPECT_TRUE(WaitUntil([&] { return counter.pictures > before; }));
    }
    EXPECT_LE(ProcessCounts::Now().handles, files);
    std::printf("%d operations, %d pictures\n", seeds * operations, counter.pictures.load());
}

TEST_F(CameraRounds, OpeningAndClosingIsFlat) {
    const int rounds = Rounds(50);
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    const std::unique_ptr<MediaSourceCamera> prototype(Enumerate().at(0)->CreateDevice());
    const Bytes picture(320 * 240 * 2, 128);
    ProcessCounts before;
    for (int round = 0; round < rounds; ++round) {
        const Watchdog hang("opening and closing", patience);
        if (round == 10) before = ProcessCounts::Now();
        const std::unique_ptr<MediaSourceCamera> camera(prototype->CreateDevice());
        camera->SetDispatcher(&viewer);
        ASSERT_TRUE(camera->Open());
        ASSERT_TRUE(camera->Play());
        ASSERT_TRUE(Arrives(device, picture));
        if (round % 2 == 0) camera->Stop();
        camera->Close();
        TakeLog();
    }
    ExpectNothingLeft(before);
}

}  // namespace
}  // namespace Vimbrel::test
