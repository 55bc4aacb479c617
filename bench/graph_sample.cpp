// What a sample costs on its way through a source's pin and the video sink to the dispatcher,
// against a plain call that does the same conversion on the same number of bytes.
//
//     graph_sample [--rounds N]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "pixel/PixelOperations.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/GraphKit.h"
#include "vimbrel/DSRenderVideo.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace Vimbrel;
using Bytes = std::vector<std::uint8_t>;

struct Counter final : IDSRenderVideo::CDispatcher {
    void OnVideoSample(unsigned char* pixels, int, int, int, std::int64_t, std::int64_t) override {
        sum += pixels[0];
        ++pictures;
    }
    unsigned long sum = 0;
    int pictures = 0;
};

struct Case {
    const char* name;
    GUID subtype;
    int width;
    int height;
    int twelfths;  // bytes per pixel, times 12
    int count;     // samples per round

    std::size_t Size() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
               static_cast<std::size_t>(twelfths) / 12;
    }
};

double Microseconds(Clock::time_point start, int count) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / count;
}

// A connected source and sink that run without a clock.
class Way {
public:
    Way(const Case& measured, Counter& counter) : size(measured.Size()), samples(measured.count) {
        CreateDSRenderVideo(&sink);
        sink->SetDispatcher(&counter);
        void* found = nullptr;
        sink->QueryInterface(__uuidof(IBaseFilter), &found);
        filter.Attach(static_cast<IBaseFilter*>(found));
        ComPtr<IEnumPins> pins;
        filter->EnumPins(pins.Put());
        pins->Next(1, input.Put(), nullptr);
        source->Output().types = {test::VideoType(measured.subtype, measured.width,
                                                  -measured.height, static_cast<DWORD>(size))};
        source->Output().size = static_cast<LONG>(size);
        if (FAILED(source->Output().Connect(input.Get(), nullptr))) std::exit(1);
        filter->Run(0);
        source->Run(0);
        // Every sample's memory is there before the first measurement.
        ComPtr<IMediaSample> held[2];
        for (auto& sample : held) {
            source->Output().GetDeliveryBuffer(sample.Put());
            BYTE* data = nullptr;
            sample->GetPointer(&data);
            std::memset(data, 0x55, size);
        }
    }
    ~Way() {
        filter->Stop();
        source->Stop();
        source->Output().Disconnect();
        input->Disconnect();
        input.Reset();
        filter.Reset();
        sink->Release();
    }
    Way(const Way&) = delete;
    Way& operator=(const Way&) = delete;

    double Run() {
        const auto start = Clock::now();
        for (int i = 0; i < samples; ++i) {
            REFERENCE_TIME begin = i;
            REFERENCE_TIME end = i + 1;
            ComPtr<IMediaSample> sample;
            source->Output().GetDeliveryBuffer(sample.Put());
            sample->SetTime(&begin, &end);
            source->Output().Deliver(sample.Get());
        }
        return Microseconds(start, samples);
    }

private:
    const std::size_t size;
    const int samples;
    IDSRenderVideo* sink = nullptr;
    ComPtr<IBaseFilter> filter;
    ComPtr<IPin> input;
    ComPtr<test::TestSource> source = MakeCom<test::TestSource>();
};

void ConvertPlainly(const Case& measured, const std::uint8_t* from, std::uint8_t* to) {
    const PixelSize size{measured.width, measured.height};
    const int stride = measured.width * 4;
    const auto area =
        static_cast<std::size_t>(measured.width) * static_cast<std::size_t>(measured.height);
    if (measured.subtype == MEDIASUBTYPE_NV12) {
        ConvertNv12ToBgra(from, measured.width, from + area, measured.width, to, stride, size, 255);
    } else if (measured.subtype == MEDIASUBTYPE_YUY2) {
        ConvertYuy2ToBgra(from, measured.width * 2, to, stride, size, 255);
    } else if (measured.subtype == MEDIASUBTYPE_RGB24) {
        ExpandBgrToBgra(from, measured.width * 3, to, stride, size);
        FillAlpha(255, to + 3, stride, size);
    } else {
        CopyBgrxToBgra(from, stride, to, stride, size);
        FillAlpha(255, to + 3, stride, size);
    }
}

double RunPlainly(const Case& measured, const Bytes (&sources)[2], Bytes& target,
                  IDSRenderVideo::CDispatcher& dispatcher) {
    const auto start = Clock::now();
    for (int i = 0; i < measured.count; ++i) {
        ConvertPlainly(measured, sources[i % 2].data(), target.data());
        dispatcher.OnVideoSample(target.data(), measured.width, measured.height, measured.width * 4,
                                 i, 1);
    }
    return Microseconds(start, measured.count);
}

}  // namespace

int main(int count, char** arguments) {
    int rounds = 15;
    if (count == 3 && std::strcmp(arguments[1], "--rounds") == 0) rounds = std::atoi(arguments[2]);
    const Case cases[] = {
        {"RGB32 64x64", MEDIASUBTYPE_RGB32, 64, 64, 48, 20'000},
        {"NV12 720p", MEDIASUBTYPE_NV12, 1280, 720, 18, 60},
        {"YUY2 720p", MEDIASUBTYPE_YUY2, 1280, 720, 24, 60},
        {"RGB24 720p", MEDIASUBTYPE_RGB24, 1280, 720, 36, 60},
        {"NV12 1080p", MEDIASUBTYPE_NV12, 1920, 1080, 18, 30},
        {"YUY2 1080p", MEDIASUBTYPE_YUY2, 1920, 1080, 24, 30},
        {"RGB24 1080p", MEDIASUBTYPE_RGB24, 1920, 1080, 36, 30},
    };
    for (const Case& measured : cases) {
        Counter counter;
        Way way(measured, counter);
        const Bytes sources[2] = {Bytes(measured.Size(), 0x55), Bytes(measured.Size(), 0x55)};
        Bytes target(static_cast<std::size_t>(measured.width * measured.height) * 4);
        double through = 1e9;
        double plain = 1e9;
        way.Run();
        std::uint64_t allocations = 0;
        for (int round = 0; round < rounds; ++round) {
            const std::uint64_t before = test::AllocationCount();
            through = std::min(through, way.Run());
            allocations += test::AllocationCount() - before;
            plain = std::min(plain, RunPlainly(measured, sources, target, counter));
        }
        std::printf(
            "%-12s through the sink %9.2f us, plain call %9.2f us: ratio %.3f, "
            "difference %.2f us, %llu allocations\n",
            measured.name, through, plain, through / plain, through - plain,
            static_cast<unsigned long long>(allocations));
    }
}
