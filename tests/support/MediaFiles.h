// Media files with numbered pictures, made by ffmpeg, and a graph that plays them.
#pragma once

#include <cmath>
#include <mutex>
#include <vector>

#include "filters/OutsideInterfaces.h"
#include "tests/support/GraphKit.h"
#include "tests/support/TempFolder.h"
#include "vimbrel/DSRenderVideo.h"

namespace Vimbrel::test {

constexpr int number_width = 64;
constexpr int number_height = 48;

// Raw 4:2:0 pictures: the grey levels of the left and the right half are the digits of the number
// to the base 16. A moving dot gives the encoder something to do.
inline void WriteNumberedPictures(const TempFolder& folder, int count) {
    Bytes pictures;
    for (int i = 0; i < count; ++i) {
        for (int y = 0; y < number_height; ++y) {
            for (int x = 0; x < number_width; ++x) {
                const int digit = x < number_width / 2 ? i / 16 : i % 16;
                const bool dot = y < 4 && x / 4 == i % 16;
                pictures.push_back(static_cast<std::uint8_t>(dot ? 220 : 24 + digit * 13));
            }
        }
        pictures.insert(pictures.end(), number_width * number_height / 2, 128);
    }
    folder.Write("numbers.yuv", pictures);
}

// Reads the number of such a picture back.
inline int NumberOf(const unsigned char* pixels, int stride) {
    const auto digit = [&](int column) {
        const double green = pixels[(number_height / 2) * stride + column * 4 + 1];
        const double luma = 16 + green * 219 / 255;
        return static_cast<int>(std::lround((luma - 24) / 13));
    };
    return digit(number_width / 4) * 16 + digit(number_width * 3 / 4);
}

// Collects the pictures that a sink delivers.
class NumberReader final : public IDSRenderVideo::CDispatcher {
public:
    struct Picture {
        int number;
        std::int64_t time;
    };

    void OnVideoSample(unsigned char* pixels, int, int, int stride, std::int64_t time,
                       std::int64_t) override {
        const std::lock_guard guard(lock);
        pictures.push_back({NumberOf(pixels, stride), time});
    }
    std::vector<Picture> Taken() {
        const std::lock_guard guard(lock);
        return pictures;
    }
    std::size_t Count() { return Taken().size(); }
    void Clear() {
        const std::lock_guard guard(lock);
        pictures.clear();
    }

private:
    std::mutex lock;
    std::vector<Picture> pictures;
};

// Source, decoder and sink without a clock, unless the test gives it one.
class FileGraphKit {
public:
    explicit FileGraphKit(IDSRenderVideo::CDispatcher* dispatcher) {
        CreateDSRenderVideo(&sink);
        sink->SetDispatcher(dispatcher);
        void* found = nullptr;
        sink->QueryInterface(__uuidof(IBaseFilter), &found);
        sink_filter.Attach(static_cast<IBaseFilter*>(found));
        graph.SetClock(nullptr);
    }
    ~FileGraphKit() {
        graph.control->Stop();
        sink_filter.Reset();
        sink->Release();
    }

    // The result of loading, or of rendering the pictures.
    HRESULT Open(const std::filesystem::path& file) {
        HRESULT hr = graph.graph->AddSourceFilter(file.wstring().c_str(), nullptr, source.Put());
        if (FAILED(hr)) return hr;
        ComPtr<IBaseFilter> decoder;
        EXPECT_EQ(CreateObject(class_video_decoder, decoder), S_OK);
        graph.graph->AddFilter(decoder.Get(), L"Decoder");
        graph.graph->AddFilter(sink_filter.Get(), L"Sink");
        ComPtr<IPin> pin;
        hr = source->FindPin(L"Video", pin.Put());
        return SUCCEEDED(hr) ? graph.graph->RenderEx(pin.Get(), 1, nullptr) : hr;
    }
    HRESULT SeekTo(double seconds) {
        return graph.As<IMediaPosition>()->put_CurrentPosition(seconds);
    }

    TestGraph graph;
    IDSRenderVideo* sink = nullptr;
    ComPtr<IBaseFilter> sink_filter;
    ComPtr<IBaseFilter> source;
};

}  // namespace Vimbrel::test
