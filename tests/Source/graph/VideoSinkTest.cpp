// The video sink behind a source of the test's, on both systems.
#include <gtest/gtest.h>

#include <wmcodecdsp.h>

#include <cstring>
#include <optional>

#include "pixel/KernelSelection.h"
#include "tests/pixel/PixelTestKit.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/GraphKit.h"
#include "vimbrel/DSRenderVideo.h"

namespace Vimbrel::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Picture final : IDSRenderVideo::CDispatcher {
    void OnVideoSample(unsigned char* data, int columns, int rows, int row_bytes, std::int64_t at,
                       std::int64_t lasts) override {
        if (keep) pixels.assign(data, data + std::ptrdiff_t{rows} * row_bytes);
        width = columns;
        height = rows;
        stride = row_bytes;
        time = at;
        duration = lasts;
        ++calls;
    }
    bool keep = true;
    Bytes pixels;
    int width = 0, height = 0, stride = 0, calls = 0;
    std::int64_t time = -1, duration = -1;
};

class VideoSinkTest : public testing::Test {
protected:
    VideoSinkTest() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CreateDSRenderVideo(&sink);
        sink->SetDispatcher(&picture);
        void* found = nullptr;
        EXPECT_EQ(sink->QueryInterface(__uuidof(IBaseFilter), &found), S_OK);
        filter.Attach(static_cast<IBaseFilter*>(found));
        EXPECT_EQ(filter->EnumPins(pins.Put()), S_OK);
        EXPECT_EQ(pins->Next(1, input.Put(), nullptr), S_OK);
    }
    ~VideoSinkTest() override {
        Disconnect();
        input.Reset();
        pins.Reset();
        filter.Reset();
        EXPECT_EQ(sink->Release(), 0u);
        source.Reset();
        CoUninitialize();
    }
    HRESULT Connect(const CMediaType& type, LONG buffer = 0) {
        Disconnect();
        source->Output().types = {type};
        source->Output().size = buffer > 0 ? buffer : static_cast<LONG>(type.lSampleSize);
        const HRESULT hr = source->Output().Connect(input.Get(), nullptr);
        if (FAILED(hr)) return hr;
        filter->Run(0);
        source->Run(0);
        return hr;
    }
    void Disconnect() {
        filter->Stop();
        source->Stop();
        source->Output().Disconnect();
        input->Disconnect();
    }
    // A sample with these bytes at its start.
    HRESULT Send(const Bytes& bytes, std::optional<REFERENCE_TIME> start = std::nullopt,
                 REFERENCE_TIME end = 0, CMediaType* type = nullptr) {
        ComPtr<IMediaSample> sample;
        EXPECT_EQ(source->Output().GetDeliveryBuffer(sample.Put()), S_OK);
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        std::copy_n(bytes.data(),
                    std::min(bytes.size(), static_cast<std::size_t>(sample->GetSize())), data);
        sample->SetTime(start ? &*start : nullptr, start ? &end : nullptr);
        sample->SetMediaType(type);
        return source->Output().Deliver(sample.Get());
    }

    Picture picture;
    IDSRenderVideo* sink = nullptr;
    ComPtr<IBaseFilter> filter;
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> input;
    ComPtr<TestSource> source = MakeCom<TestSource>();
};

struct Layout {
    const char* name;
    GUID subtype;
    int pixel_bytes;  // 0: planes
};
const Layout layouts[] = {
    {"RGB24", MEDIASUBTYPE_RGB24, 3},   {"RGB32", MEDIASUBTYPE_RGB32, 4},
    {"ARGB32", MEDIASUBTYPE_ARGB32, 4}, {"YUY2", MEDIASUBTYPE_YUY2, 2},
    {"NV12", MEDIASUBTYPE_NV12, 0},     {"I420", MEDIASUBTYPE_I420, 0},
    {"UYVY", MEDIASUBTYPE_UYVY, 2},     {"YV12", MEDIASUBTYPE_YV12, 0},
};

// One packed picture, top row first, by the plain formulas.
void ExpectedPacked(const Layout& layout, const Bytes& rows, int step, int width, int height,
                    Bytes& expected) {
    const PixelSize size{width, height};
    if (layout.subtype == MEDIASUBTYPE_YUY2) {
        ConvertYuy2ToBgra(rows.data(), step, expected.data(), width * 4, size, 255);
        return;
    }
    if (layout.subtype == MEDIASUBTYPE_UYVY) {
        ConvertUyvyToBgra(rows.data(), step, expected.data(), width * 4, size, 255);
        return;
    }
    for (int i = 0; i < width * height; ++i) {
        const std::uint8_t* const from =
            &rows[static_cast<std::size_t>(i / width * step + i % width * layout.pixel_bytes)];
        std::uint8_t* const to = &expected[static_cast<std::size_t>(i) * 4];
        const bool premultiplied = layout.subtype == MEDIASUBTYPE_ARGB32;
        for (int c = 0; c < 3; ++c) {
            const unsigned t = from[c] * unsigned{premultiplied ? from[3] : 255u};
            to[c] = premultiplied ? static_cast<std::uint8_t>((t + (t >> 8) + 1) >> 8) : from[c];
        }
        to[3] = premultiplied ? from[3] : 255;
    }
}

// Fills a sample with three planes at their places, and converts them from memory of their own.
Bytes Planar(const Layout& layout, int width, int height, Noise& noise, Bytes& expected) {
    const int half = width / 2;
    const int half_rows = height / 2;
    Bytes luma(static_cast<std::size_t>(width * height));
    Bytes cb(static_cast<std::size_t>(half * half_rows) + 1);
    Bytes cr(cb.size());
    for (Bytes* plane : {&luma, &cb, &cr}) noise.Fill(plane->data(), plane->size());
    Bytes sample(luma);
    const PixelSize size{width, height};
    const std::uint8_t* const planes[] = {luma.data(), cb.data(), cr.data()};
    const std::int32_t steps[] = {width, half, half};
    if (layout.subtype == MEDIASUBTYPE_NV12) {
        Bytes chroma(static_cast<std::size_t>(width * half_rows) + 2);
        for (int y = 0; y < half_rows; ++y) {
            for (int x = 0; x < half; ++x) {
                const auto from = static_cast<std::size_t>(y * half + x);
                chroma[static_cast<std::size_t>(y * width + 2 * x)] = cb[from];
                chroma[static_cast<std::size_t>(y * width + 2 * x) + 1] = cr[from];
            }
        }
        sample.insert(sample.end(), chroma.begin(), chroma.end());
        ConvertNv12ToBgra(luma.data(), width, chroma.data(), width, expected.data(), width * 4,
                          size, 255);
        return sample;
    }
    cb.pop_back();
    cr.pop_back();
    const bool cr_first = layout.subtype == MEDIASUBTYPE_YV12;
    for (const Bytes* plane : {cr_first ? &cr : &cb, cr_first ? &cb : &cr})
        sample.insert(sample.end(), plane->begin(), plane->end());
    if (cr_first) {
        ConvertYv12ToBgra(planes, steps, expected.data(), width * 4, size, 255);
    } else {
        ConvertI420ToBgra(planes, steps, expected.data(), width * 4, size, 255);
    }
    return sample;
}

class AllLayouts : public VideoSinkTest, public testing::WithParamInterface<Layout> {};

TEST_P(AllLayouts, GiveThePlainFormulasPixelsTopRowFirst) {
    const Layout& layout = GetParam();
    const GUID formats[] = {FORMAT_VideoInfo, FORMAT_VideoInfo2, FORMAT_MPEGVideo,
                            FORMAT_MPEG2Video};
    int round = 0;
    for (const auto& [width, height] :
         {std::pair{33, 18}, {1, 1}, {2, 3}, {7, 5}, {16, 2}, {130, 71}, {640, 50}}) {
        for (const int sign : {1, -1}) {
            Noise noise(static_cast<std::uint32_t>(++round));
            const int step = width * layout.pixel_bytes + (round % 3) * 4;
            const std::size_t area = static_cast<std::size_t>(width * height);
            Bytes sample(static_cast<std::size_t>(step * height));
            noise.Fill(sample.data(), sample.size());
            // The buffer is new and empty, or has the picture before.
            Bytes expected(area * 4);
            const pixel::Kernels& reference = *pixel::RunnableKernels().back();
            const WithKernels plain(reference);
            const bool turned = sign > 0 && layout.pixel_bytes > 2;
            if (layout.pixel_bytes == 0) {
                sample = Planar(layout, width, height, noise, expected);
            } else {
                Bytes rows(sample);
                for (int y = 0; turned && y < height; ++y)
                    std::memcpy(&rows[static_cast<std::size_t>(y * step)],
                                &sample[static_cast<std::size_t>((height - 1 - y) * step)],
                                static_cast<std::size_t>(step));
                ExpectedPacked(layout, rows, step, width, height, expected);
            }
            IDSRenderVideo* fresh = nullptr;
            CreateDSRenderVideo(&fresh);
            std::swap(sink, fresh);
            sink->SetDispatcher(&picture);
            ComPtr<IBaseFilter> old_filter = filter;
            Disconnect();
            void* found = nullptr;
            sink->QueryInterface(__uuidof(IBaseFilter), &found);
            filter.Attach(static_cast<IBaseFilter*>(found));
            filter->EnumPins(pins.Put());
            pins->Next(1, input.Put(), nullptr);
            old_filter.Reset();
            EXPECT_EQ(fresh->Release(), 0u);

            const LONG rows_sign = layout.pixel_bytes > 2 ? sign : 1;
            const auto size = static_cast<DWORD>(sample.size());
            const CMediaType type = VideoType(layout.subtype, width, rows_sign * height, size,
                                              400'000, formats[round % 4]);
            ASSERT_EQ(Connect(type), S_OK);
            EXPECT_EQ(sink->IsBottomUp(), rows_sign > 0 && layout.pixel_bytes > 2);
            ASSERT_EQ(Send(sample), S_OK);
            ASSERT_EQ(picture.width, width);
            ASSERT_EQ(picture.height, height);
            ASSERT_EQ(picture.stride, width * 4);
            EXPECT_TRUE(picture.pixels == expected) << width << " x " << height << " " << sign;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(VideoSink, AllLayouts, testing::ValuesIn(layouts),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(VideoSinkTest, TimesAreThoseOfTheSegment) {
    ASSERT_EQ(Connect(VideoType(MEDIASUBTYPE_RGB32, 2, 2, 16)), S_OK);
    Send({}, 5 * second, 6 * second);
    EXPECT_EQ(picture.time, 5 * second);
    EXPECT_EQ(picture.duration, second);
    source->Output().DeliverNewSegment(100 * second, 200 * second, 1.0);
    Send({}, 5 * second, 7 * second);
    EXPECT_EQ(picture.time, 105 * second);
    EXPECT_EQ(picture.duration, 2 * second);
    Send({});
    EXPECT_EQ(picture.time, 100 * second) << "a sample without times";
    EXPECT_EQ(picture.duration, 0);
    picture.calls = 0;
    sink->SetDispatcher(nullptr);
    EXPECT_EQ(Send({}), S_OK);
    EXPECT_EQ(picture.calls, 0);
}

TEST_F(VideoSinkTest, RatesAreWholeNumbersAndOnlyAGrowingConnectionCounts) {
    EXPECT_EQ(sink->GetFrameRateNum(), 30u);
    EXPECT_EQ(sink->GetWidth(), 0u);
    EXPECT_FALSE(sink->IsConnected());
    const struct {
        REFERENCE_TIME frame_time;
        std::uint32_t rate;
    } rates[] = {{333'333, 30}, {400'000, 25}, {333'667, 30}, {166'833, 60}, {0, 0}};
    LONG height = 2;
    for (const auto& [frame_time, rate] : rates) {
        height += 2;
        const auto size = static_cast<DWORD>(height * 16);
        ASSERT_EQ(Connect(VideoType(MEDIASUBTYPE_RGB32, 4, height, size, frame_time)), S_OK);
        EXPECT_EQ(sink->GetFrameRateNum(), rate) << frame_time;
        EXPECT_EQ(sink->GetFrameRateDen(), 1u);
        EXPECT_TRUE(sink->IsConnected());
        EXPECT_EQ(sink->GetHeight(), static_cast<unsigned>(height));
    }
    Disconnect();
    EXPECT_FALSE(sink->IsConnected());
    // The same size again: the buffer is large enough, so the flag stays false and a type that
    // comes with a sample is not read.
    ASSERT_EQ(Connect(VideoType(MEDIASUBTYPE_RGB32, 4, height, 16u * static_cast<DWORD>(height))),
              S_OK);
    EXPECT_FALSE(sink->IsConnected());
    CMediaType smaller = VideoType(MEDIASUBTYPE_RGB32, 2, 2, 16);
    EXPECT_EQ(Send({}, 0, 1, &smaller), S_OK);
    EXPECT_EQ(picture.width, 4);
}

TEST_F(VideoSinkTest, AFormatMayChangeInMidStream) {
    source->Output().types = {};
    ASSERT_EQ(Connect(VideoType(MEDIASUBTYPE_RGB32, 2, -2, 16), 4096), S_OK);
    source->Output().types.push_back(VideoType(MEDIASUBTYPE_RGB24, 2, 2, 16));
    EXPECT_EQ(Send({}), S_OK);
    // Larger, upside down, with padded rows of 16 bytes.
    CMediaType larger = VideoType(MEDIASUBTYPE_RGB24, 4, 8, 128);
    Bytes bytes(128);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i);
    ASSERT_EQ(Send(bytes, 0, 1, &larger), S_OK);
    EXPECT_EQ(picture.width, 4);
    EXPECT_EQ(picture.height, 8);
    EXPECT_EQ(picture.pixels[0], 112) << "the last row comes first";
    EXPECT_EQ(picture.pixels[3], 255);
    EXPECT_EQ(picture.pixels[7 * 16], 0);
    EXPECT_TRUE(sink->IsBottomUp());
    // A type that the memory cannot hold leaves the pixels; the dispatcher is called all the same.
    CMediaType absurd = VideoType(MEDIASUBTYPE_NV12, 4, 8, 48);
    reinterpret_cast<VIDEOINFOHEADER*>(absurd.pbFormat)->bmiHeader.biHeight = 6000;
    ASSERT_EQ(Send(bytes, 0, 1, &absurd), S_OK);
    EXPECT_EQ(picture.height, 6000);
    EXPECT_TRUE(picture.pixels == Bytes(4 * 4 * 6000)) << "the enlarged buffer is as it was made";
    // A picture for which there is no buffer, because four times its width wraps, is not shown.
    reinterpret_cast<VIDEOINFOHEADER*>(absurd.pbFormat)->bmiHeader.biWidth = 0x40000001;
    ASSERT_EQ(Send(bytes, 0, 1, &absurd), S_OK);
    EXPECT_EQ(picture.width, 4);
}

TEST_F(VideoSinkTest, RefusesWhatItCannotConvert) {
    const CMediaType good = VideoType(MEDIASUBTYPE_RGB32, 2, 2, 16);
    EXPECT_EQ(input->QueryAccept(&good), S_OK);
    CMediaType mjpg = good;
    mjpg.subtype.Data1 = 0x47504A4D;
    CMediaType sound = good;
    sound.majortype = MEDIATYPE_Audio;
    CMediaType format = good;
    format.formattype = FORMAT_WaveFormatEx;
    for (const CMediaType& bad : {mjpg, sound, format}) {
        EXPECT_EQ(input->QueryAccept(&bad), S_FALSE);
        EXPECT_EQ(Connect(bad), VFW_E_NO_ACCEPTABLE_TYPES);
    }
    EXPECT_EQ(input->QueryAccept(nullptr), E_POINTER);
    CreateDSRenderVideo(nullptr);
    // A format block that is too short has no size: nothing is converted.
    CMediaType cut = good;
    cut.cbFormat = 40;
    ASSERT_EQ(Connect(cut), S_OK);
    EXPECT_FALSE(sink->IsConnected());
    EXPECT_EQ(sink->GetFrameRateDen(), 333'333u);
    EXPECT_EQ(Send({}), S_OK);
    EXPECT_EQ(picture.width, 0);
}

TEST_F(VideoSinkTest, ASampleCostsNoAllocation) {
    ASSERT_EQ(Connect(VideoType(MEDIASUBTYPE_NV12, 64, 64, 6144)), S_OK);
    picture.keep = false;
    EXPECT_EQ(source->Output().Send(0, 1), S_OK);
    const std::uint64_t before = AllocationCount();
    for (int i = 0; i < 1000; ++i) source->Output().Send(i, i + 1);
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_EQ(picture.calls, 1001);
}

}  // namespace
}  // namespace Vimbrel::test
