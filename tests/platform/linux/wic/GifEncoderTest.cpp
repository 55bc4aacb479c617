#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "com/OutputEnd.h"
#include "com/Utf8.h"
#include "tests/platform/linux/wic/GifEncoderKit.h"

namespace Vimbrel::test {
namespace {

using ::testing::HasSubstr;

TEST_F(GifEncoderTest, HeadGlobalItemsAndFramesComeInTheirOrder) {
    const std::string name = "ANIMEXTS1.0", loop("\3\1\2\0\0", 5), long_comment(600, 'k');
    PROPVARIANT text{};
    text.vt = VT_LPSTR;
    text.pszVal = const_cast<char*>(long_comment.c_str());
    EXPECT_EQ(Set(encoder, L"/appext/Application", Blob(name)), S_OK);
    EXPECT_EQ(Set(encoder, L"/appext/Data", Blob(loop)), S_OK);
    EXPECT_EQ(Set(encoder, L"/commentext/textentry", text), S_OK);
    EXPECT_EQ(Set(encoder, L"/logscrdesc/Width", Number(VT_UI2, 10)), S_OK);
    EXPECT_EQ(Set(encoder, L"/logscrdesc/Height", Number(VT_UI2, 9)), S_OK);

    auto frame = AddPlain(0xFF112233);
    // Behind the commit, until the next frame is made.
    EXPECT_EQ(Set(frame, L"/grctlext/Delay", Number(VT_UI2, 300)), S_OK);
    EXPECT_EQ(Set(frame, L"/imgdesc/Left", Number(VT_UI2, 6)), S_OK);
    EXPECT_EQ(Set(frame, L"/imgdesc/Top", Number(VT_UI2, 5)), S_OK);
    EXPECT_EQ(Set(frame, L"/imgdesc/Width", Number(VT_UI2, 4)), S_OK);
    EXPECT_EQ(Set(frame, L"/imgdesc/Height", Number(VT_UI2, 4)), WINCODEC_ERR_VALUEOUTOFRANGE);
    EXPECT_TRUE(stream->bytes.empty());
    AddPlain(0xFF445566);
    EXPECT_EQ(Set(frame, L"/grctlext/Delay", Number(VT_UI2, 1)), WINCODEC_ERR_WRONGSTATE);

    const auto gif = Finished();
    ASSERT_TRUE(gif);
    EXPECT_EQ(std::string(stream->bytes.begin(), stream->bytes.begin() + 6), "GIF89a");
    EXPECT_EQ(stream->bytes.back(), ';');
    EXPECT_EQ(ItemOf(gif.Get(), L"/logscrdesc/Width"), "ui2:10");
    EXPECT_EQ(ItemOf(gif.Get(), L"/logscrdesc/Height"), "ui2:9");
    EXPECT_EQ(ItemOf(gif.Get(), L"/appext/application"), "bytes:41 4e 49 4d 45 58 54 53 31 2e 30");
    EXPECT_EQ(ItemOf(gif.Get(), L"/appext/data"), "bytes:03 01 02 00 00");
    EXPECT_EQ(ItemOf(gif.Get(), L"/commentext/TextEntry"), "text:" + long_comment);
    const auto first = FrameOf(gif.Get(), 0);
    EXPECT_EQ(ItemOf(first.Get(), L"/grctlext/Delay"), "ui2:300");
    EXPECT_EQ(ItemOf(first.Get(), L"/imgdesc/Left"), "ui2:6");
    EXPECT_EQ(ItemOf(first.Get(), L"/imgdesc/Top"), "ui2:5");
    EXPECT_EQ(PixelsOf(first.Get()), std::vector<std::uint32_t>(12, 0xFF112233));
    const auto second = FrameOf(gif.Get(), 1);
    EXPECT_EQ(ItemOf(second.Get(), L"/grctlext/Delay"), "missing");
    EXPECT_EQ(PixelsOf(second.Get()), std::vector<std::uint32_t>(12, 0xFF445566));
}

TEST_F(GifEncoderTest, ItemsAreChecked) {
    auto frame = NewFrame();
    const std::string data("\3\1\0\0\0", 5);
    const struct {
        bool of_frame;
        const wchar_t* path;
        PROPVARIANT value;
        HRESULT result;
    } cases[] = {
        {false, L"/logscrdesc/Width", Number(VT_UI1, 5), WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE},
        {false, L"/logscrdesc/Width", Number(VT_UI2, 0), WINCODEC_ERR_VALUEOUTOFRANGE},
        {false, L"/commentext/TextEntry", Number(VT_UI2, 5), WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE},
        {false, L"/logscrdesc/Depth", Number(VT_UI2, 5), WINCODEC_ERR_PROPERTYNOTFOUND},
        {false, L"/grctlext/Delay", Number(VT_UI2, 5), WINCODEC_ERR_PROPERTYNOTFOUND},
        {false, L"Width", Number(VT_UI2, 5), WINCODEC_ERR_INVALIDQUERYREQUEST},
        {false, L"/appext/Data", Blob(data, 0), WINCODEC_ERR_VALUEOUTOFRANGE},
        {false, L"/appext/Data", Blob(data, 1), WINCODEC_ERR_VALUEOUTOFRANGE},
        {false, L"/appext/Data", Blob(data, 4), WINCODEC_ERR_VALUEOUTOFRANGE},
        {false, L"/appext/Application", Blob(data), WINCODEC_ERR_VALUEOUTOFRANGE},
        {true, L"/grctlext/Delay", Number(VT_UI1, 5), WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE},
        {true, L"/grctlext/Disposal", Number(VT_UI1, 8), WINCODEC_ERR_VALUEOUTOFRANGE},
        {true, L"/logscrdesc/Width", Number(VT_UI2, 5), WINCODEC_ERR_PROPERTYNOTFOUND},
    };
    for (const auto& item : cases)
        EXPECT_EQ(
            item.of_frame ? Set(frame, item.path, item.value) : Set(encoder, item.path, item.value),
            item.result)
            << ToUtf8(item.path);
    // A size that is given first holds for the picture.
    EXPECT_EQ(Set(frame, L"/imgdesc/Width", Number(VT_UI2, 5)), S_OK);
    const auto bitmap = MakeBitmap(4, 3, [](UINT, UINT) { return 0xFF000000; });
    const auto converter = Convert(bitmap.Get(), PaletteOf(bitmap.Get()).Get());
    EXPECT_EQ(frame->WriteSource(converter.Get(), nullptr), WINCODEC_ERR_VALUEOUTOFRANGE);
    EXPECT_EQ(Set(frame, L"/imgdesc/Width", Number(VT_UI2, 4)), S_OK);
    EXPECT_EQ(frame->WriteSource(converter.Get(), nullptr), S_OK);
}

TEST_F(GifEncoderTest, CallsOutOfTurnFailAndLeaveNothing) {
    ComPtr<IWICBitmapEncoder> other;
    ASSERT_EQ(Factory()->CreateEncoder(GUID_ContainerFormatGif, nullptr, other.Put()), S_OK);
    ComPtr<IWICBitmapFrameEncode> frame;
    EXPECT_EQ(other->CreateNewFrame(frame.Put(), nullptr), WINCODEC_ERR_NOTINITIALIZED);
    EXPECT_EQ(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), WINCODEC_ERR_WRONGSTATE);
    ASSERT_EQ(encoder->CreateNewFrame(frame.Put(), nullptr), S_OK);
    const auto bitmap = MakeBitmap(4, 3, [](UINT, UINT) { return 0xFF000000; });
    const auto converter = Convert(bitmap.Get(), PaletteOf(bitmap.Get()).Get());
    EXPECT_EQ(frame->WriteSource(converter.Get(), nullptr), WINCODEC_ERR_NOTINITIALIZED);
    EXPECT_EQ(frame->Initialize(nullptr), S_OK);
    EXPECT_EQ(frame->Commit(), WINCODEC_ERR_WRONGSTATE);
    WICRect rect{0, 0, 1, 1};
    EXPECT_EQ(frame->WriteSource(converter.Get(), &rect), E_INVALIDARG);
    EXPECT_EQ(frame->WriteSource(bitmap.Get(), nullptr), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
    EXPECT_EQ(frame->WriteSource(converter.Get(), nullptr), S_OK);
    EXPECT_EQ(frame->WriteSource(converter.Get(), nullptr), WINCODEC_ERR_CODECTOOMANYSCANLINES);
    // Neither a frame that is not committed nor an encoder without frames writes anything.
    NewFrame();
    EXPECT_EQ(encoder->Commit(), WINCODEC_ERR_FRAMEMISSING);
    EXPECT_EQ(encoder->CreateNewFrame(frame.Put(), nullptr), WINCODEC_ERR_WRONGSTATE);
    encoder.Reset();
    EXPECT_TRUE(stream->bytes.empty());
}

// Many more frames than may be in work, of sizes that end out of order: the file is the one that is
// made frame by frame.
TEST_F(GifEncoderTest, FramesPreparedInParallelGiveTheSameBytesAsOneByOne) {
    Bytes files[2];
    for (const bool planned : {true, false}) {
        stream = MakeCom<MemoryStream>();
        SetUp();
        for (UINT n = 0; n < 40; ++n) {
            const UINT side = n % 7 == 0 ? 150 : 8 + n;
            const auto bitmap = MakeBitmap(side, side, [&](UINT x, UINT y) {
                return (x * y + n) % 11 == 0
                           ? 0u
                           : 0xFF000000 | (x * 255 / side) << 16 | (y * 255 / side) << 8 | (n * 6);
            });
            const auto converter =
                Convert(bitmap.Get(), PaletteOf(bitmap.Get(), n % 2 == 0).Get(), 90.0);
            auto frame = planned ? AddFrame(converter.Get())
                                 : AddFrame(MakeCom<PlainSource>(converter.Get()).Get());
            EXPECT_EQ(Set(frame, L"/grctlext/Delay", Number(VT_UI2, n)), S_OK);
        }
        encoder.Reset();
        files[planned] = stream->bytes;
    }
    EXPECT_EQ(files[0], files[1]);
    const auto gif = OpenedGif(files[0]);
    ASSERT_EQ(CountOf(gif.Get()), 40u);
    for (UINT n = 0; n < 40; ++n)
        EXPECT_EQ(ItemOf(FrameOf(gif.Get(), n).Get(), L"/grctlext/Delay"),
                  "ui2:" + std::to_string(n));
}

TEST_F(GifEncoderTest, OtherProgramsReadTheSame) {
    for (UINT n = 0; n < 6; ++n) {
        const auto bitmap = MakeBitmap(161, 90, [&](UINT x, UINT y) {
            return x < 9 && y < 9 ? 0u
                                  : 0xFF000000 | (x + n * 10) << 16 | y * 2 << 8 | ((x * y) & 0xFF);
        });
        auto frame =
            AddFrame(Convert(bitmap.Get(), PaletteOf(bitmap.Get(), true).Get(), 90.0).Get());
        EXPECT_EQ(Set(frame, L"/grctlext/Delay", Number(VT_UI2, 4)), S_OK);
        EXPECT_EQ(Set(frame, L"/grctlext/Disposal", Number(VT_UI1, 2)), S_OK);
        EXPECT_EQ(Set(frame, L"/grctlext/TransparencyFlag", Flag(true)), S_OK);
        EXPECT_EQ(Set(frame, L"/grctlext/TransparentColorIndex", Number(VT_UI1, 255)), S_OK);
    }
    const auto gif = Finished();
    std::vector<std::uint32_t> ours;
    for (UINT n = 0; n < 6; ++n) {
        const auto pixels = PixelsOf(FrameOf(gif.Get(), n).Get());
        EXPECT_EQ(pixels[0], 0u);
        ours.insert(ours.end(), pixels.begin(), pixels.end());
    }
    const TempFolder folder;
    folder.Write("ours.gif", stream->bytes);
    auto theirs = DecodeWithFfmpeg(folder, "ours.gif");
    for (std::uint32_t& pixel : theirs) pixel = pixel >> 24 == 0 ? 0 : pixel;
    EXPECT_TRUE(theirs == ours);
    const std::string info = folder.Run("gifsicle --warnings --info ours.gif");
    for (const char* text : {"6 images", "logical screen 161x90", "transparent 255", "delay 0.04s"})
        EXPECT_THAT(info, HasSubstr(text));
    EXPECT_THAT(info, ::testing::Not(HasSubstr("warning")));
}

TEST_F(GifEncoderTest, LaterChangesOfTheInputsDoNotReachTheFrame) {
    const auto bitmap =
        MakeBitmap(300, 300, [](UINT x, UINT y) { return 0xFF000000 | (x * 200 + y) * 77; });
    const auto other = MakeBitmap(10, 10, [](UINT, UINT) { return 0xFF0000FF; });
    Bytes files[2];
    for (const bool changed : {false, true}) {
        stream = MakeCom<MemoryStream>();
        SetUp();
        ComPtr<IWICBitmapScaler> scaler;
        ASSERT_EQ(Factory()->CreateBitmapScaler(scaler.Put()), S_OK);
        ASSERT_EQ(scaler->Initialize(bitmap.Get(), 150, 150, WICBitmapInterpolationModeLinear),
                  S_OK);
        const auto palette = PaletteOf(bitmap.Get());
        AddFrame(Convert(scaler.Get(), palette.Get()).Get());
        if (changed) {
            scaler->Initialize(other.Get(), 10, 10, WICBitmapInterpolationModeLinear);
            EXPECT_EQ(palette->InitializeFromBitmap(other.Get(), 2, FALSE), S_OK);
        }
        encoder.Reset();
        files[changed] = stream->bytes;
    }
    EXPECT_EQ(files[0], files[1]);
}

TEST_F(GifEncoderTest, AFrameThatCannotBePreparedIsLeftOut) {
    const auto good = MakeBitmap(8, 8, [](UINT, UINT) { return 0xFFFFFFFF; });
    const ComPtr<BrokenBitmap> broken = MakeCom<BrokenBitmap>();
    AddFrame(Convert(good.Get(), PaletteOf(broken.Get()).Get()).Get());
    AddPlain(0xFF010203);
    AddFrame(Convert(good.Get(), PaletteOf(broken.Get()).Get()).Get());
    AddPlain(0xFF040506);
    EXPECT_EQ(encoder->Commit(), S_OK);
    const Bytes committed = stream->bytes;
    void* end = nullptr;
    ASSERT_EQ(encoder->QueryInterface(iid_output_end, &end), S_OK);
    EXPECT_EQ(static_cast<IOutputEnd*>(end)->End(), E_OUTOFMEMORY) << "and the owner may know";
    static_cast<IOutputEnd*>(end)->Release();
    const auto gif = Finished();
    EXPECT_EQ(stream->bytes, committed) << "the release writes nothing more";
    ASSERT_EQ(CountOf(gif.Get()), 2u);
    EXPECT_EQ(PixelsOf(FrameOf(gif.Get(), 0).Get())[0], 0xFF010203);
    EXPECT_EQ(PixelsOf(FrameOf(gif.Get(), 1).Get())[0], 0xFF040506);
}

TEST_F(GifEncoderTest, AStreamThatFailsMakesLaterFramesFail) {
    stream->limit = 2000;
    HRESULT hr = S_OK;
    for (int n = 0; n < 100 && SUCCEEDED(hr); ++n) {
        ComPtr<IWICBitmapFrameEncode> frame;
        hr = encoder->CreateNewFrame(frame.Put(), nullptr);
        if (FAILED(hr)) break;
        const auto bitmap =
            MakeBitmap(40, 40, [&](UINT x, UINT y) { return 0xFF000000 | (x * 4001 + y * n); });
        ASSERT_EQ(frame->Initialize(nullptr), S_OK);
        ASSERT_EQ(
            frame->WriteSource(Convert(bitmap.Get(), PaletteOf(bitmap.Get()).Get()).Get(), nullptr),
            S_OK);
        ASSERT_EQ(frame->Commit(), S_OK);
    }
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_DISK_FULL));
    const std::size_t written = stream->bytes.size();
    stream->limit = 1 << 20;
    EXPECT_EQ(encoder->Commit(), HRESULT_FROM_WIN32(ERROR_DISK_FULL));
    encoder.Reset();
    EXPECT_EQ(stream->bytes.size(), written) << "nothing behind the gap";
}

TEST_F(GifEncoderTest, SmallPalettesAndOddSizesSurvive) {
    const struct {
        UINT width, height;
        std::vector<WICColor> colors;
    } cases[] = {{1, 1, {0xFF123456}},
                 {3, 1, {0xFF000000, 0xFFFFFFFF, 0xFF00FF00}},
                 {257, 3, {0xFF0000FF, 0xFF00FF00}}};
    for (const auto& each : cases) {
        stream = MakeCom<MemoryStream>();
        SetUp();
        const auto pixel = [&](UINT x, UINT y) {
            return each.colors[(x + y) % each.colors.size()];
        };
        const auto bitmap = MakeBitmap(each.width, each.height, pixel);
        AddFrame(Convert(bitmap.Get(), PaletteOf(bitmap.Get()).Get()).Get());
        const auto gif = Finished();
        ASSERT_TRUE(gif);
        const auto pixels = PixelsOf(FrameOf(gif.Get(), 0).Get());
        for (UINT i = 0; i < pixels.size(); ++i)
            EXPECT_EQ(pixels[i], pixel(i % each.width, i / each.width));
    }
}

}  // namespace
}  // namespace Vimbrel::test
