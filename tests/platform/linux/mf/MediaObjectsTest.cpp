#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/platform/linux/mf/MfTestKit.h"

namespace Vimbrel::test {
namespace {

ComPtr<IMFAttributes> NewAttributes() {
    ComPtr<IMFAttributes> attributes;
    EXPECT_EQ(MFCreateAttributes(attributes.Put(), 1), S_OK);
    return attributes;
}

TEST(Attributes, KeepTypedItems) {
    const ComPtr<IMFAttributes> attributes = NewAttributes();
    const ComPtr<IMFAttributes> object = NewAttributes();
    const UINT8 blob[] = {1, 2, 3};
    const GUID keys[] = {MF_MT_SUBTYPE,   MF_MT_FRAME_SIZE,  MF_MT_FRAME_RATE, MF_MT_MAJOR_TYPE,
                         MF_MT_USER_DATA, MF_MT_AVG_BITRATE, GUID_NULL};
    EXPECT_EQ(attributes->SetUINT32(keys[0], 7), S_OK);
    EXPECT_EQ(MFSetAttributeSize(attributes.Get(), keys[1], 1280, 720), S_OK);
    EXPECT_EQ(attributes->SetDouble(keys[2], 2.5), S_OK);
    EXPECT_EQ(attributes->SetGUID(keys[3], MFMediaType_Video), S_OK);
    EXPECT_EQ(attributes->SetString(keys[4], L"text"), S_OK);
    EXPECT_EQ(attributes->SetBlob(keys[5], blob, sizeof blob), S_OK);
    EXPECT_EQ(attributes->SetUnknown(keys[6], object.Get()), S_OK);

    // The same from a copy, and from a copy that takes the place of other items.
    const ComPtr<IMFAttributes> copy = NewAttributes();
    EXPECT_EQ(copy->SetUINT32(MF_MT_SAMPLE_SIZE, 1), S_OK);
    EXPECT_EQ(attributes->CopyAllItems(copy.Get()), S_OK);
    EXPECT_EQ(copy->CopyAllItems(copy.Get()), S_OK);
    for (IMFAttributes* each : {attributes.Get(), copy.Get()}) {
        UINT32 number = 0;
        EXPECT_EQ(each->GetCount(&number), S_OK);
        EXPECT_EQ(number, 7u);
        UINT32 other = 0;
        EXPECT_EQ(each->GetUINT32(keys[0], &number), S_OK);
        EXPECT_EQ(number, 7u);
        EXPECT_EQ(MFGetAttributeSize(each, keys[1], &number, &other), S_OK);
        EXPECT_EQ(std::make_pair(number, other), std::make_pair(1280u, 720u));
        double real = 0;
        EXPECT_EQ(each->GetDouble(keys[2], &real), S_OK);
        EXPECT_EQ(real, 2.5);
        GUID guid{};
        EXPECT_EQ(each->GetGUID(keys[3], &guid), S_OK);
        EXPECT_EQ(guid, MFMediaType_Video);
        wchar_t text[5];
        EXPECT_EQ(each->GetString(keys[4], text, 4, &number), MF_E_BUFFERTOOSMALL);
        EXPECT_EQ(each->GetString(keys[4], text, 5, nullptr), S_OK);
        EXPECT_EQ(std::wstring(text), L"text");
        EXPECT_EQ(number, 4u);
        UINT8 bytes[3] = {};
        EXPECT_EQ(each->GetBlob(keys[5], bytes, 2, &number), MF_E_BUFFERTOOSMALL);
        EXPECT_EQ(each->GetBlob(keys[5], bytes, 3, nullptr), S_OK);
        EXPECT_EQ(std::memcmp(bytes, blob, 3), 0);
        ComPtr<IUnknown> found;
        EXPECT_EQ(each->GetUnknown(keys[6], IID_PPV_ARGS(found.Put())), S_OK);
        EXPECT_EQ(found.Get(), object.Get());
        constexpr MF_ATTRIBUTE_TYPE types[] = {
            MF_ATTRIBUTE_UINT32, MF_ATTRIBUTE_UINT64, MF_ATTRIBUTE_DOUBLE,  MF_ATTRIBUTE_GUID,
            MF_ATTRIBUTE_STRING, MF_ATTRIBUTE_BLOB,   MF_ATTRIBUTE_IUNKNOWN};
        for (std::size_t i = 0; i < std::size(keys); ++i) {
            MF_ATTRIBUTE_TYPE type{};
            EXPECT_EQ(each->GetItemType(keys[i], &type), S_OK);
            EXPECT_EQ(type, types[i]);
            EXPECT_EQ(each->GetItemByIndex(static_cast<UINT32>(i), &guid, nullptr), S_OK);
            EXPECT_EQ(guid, keys[i]);
            EXPECT_EQ(each->GetUINT32(keys[i], &number), i == 0 ? S_OK : MF_E_INVALIDTYPE);
        }
        EXPECT_EQ(each->GetUINT32(MF_MT_SAMPLE_SIZE, &number), MF_E_ATTRIBUTENOTFOUND);
    }
    EXPECT_EQ(attributes->SetUINT64(keys[0], 1), S_OK);
    MF_ATTRIBUTE_TYPE type{};
    EXPECT_EQ(attributes->GetItemType(keys[0], &type), S_OK);
    EXPECT_EQ(type, MF_ATTRIBUTE_UINT64) << "the later value counts";
    EXPECT_EQ(attributes->DeleteItem(keys[0]), S_OK);
    EXPECT_EQ(attributes->GetItemType(keys[0], &type), MF_E_ATTRIBUTENOTFOUND);
    PROPVARIANT odd{};
    odd.vt = VT_I2;
    EXPECT_EQ(attributes->SetItem(keys[0], odd), MF_E_INVALIDTYPE);
    EXPECT_EQ(attributes->SetString(keys[0], nullptr), E_INVALIDARG);
}

TEST(Attributes, ReleaseWhatTheyHold) {
    Counter gone;
    ComPtr<IMFAttributes> attributes = NewAttributes();
    const auto hold = [&](REFGUID key) {
        const ComPtr<Callback> object = MakeCom<Callback>([](IMFAsyncResult*) {});
        object->gone = &gone;
        EXPECT_EQ(attributes->SetUnknown(key, object.Get()), S_OK);
    };
    hold(MF_MT_SUBTYPE);
    hold(MF_MT_SUBTYPE);
    EXPECT_EQ(gone.Value(), 1) << "replaced";
    EXPECT_EQ(attributes->DeleteItem(MF_MT_SUBTYPE), S_OK);
    EXPECT_EQ(gone.Value(), 2);
    hold(MF_MT_SUBTYPE);
    EXPECT_EQ(attributes->DeleteAllItems(), S_OK);
    EXPECT_EQ(gone.Value(), 3);
    hold(MF_MT_SUBTYPE);
    PROPVARIANT value{};
    EXPECT_EQ(attributes->GetItem(MF_MT_SUBTYPE, &value), S_OK);
    attributes.Reset();
    EXPECT_EQ(gone.Value(), 3);
    PropVariantClear(&value);
    EXPECT_EQ(gone.Value(), 4);
}

ComPtr<IMFMediaBuffer> Buffer(const std::string& text, DWORD size) {
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_EQ(MFCreateMemoryBuffer(size, buffer.Put()), S_OK);
    BYTE* data = nullptr;
    EXPECT_EQ(buffer->Lock(&data, nullptr, nullptr), S_OK);
    std::memcpy(data, text.data(), text.size());
    EXPECT_EQ(buffer->Unlock(), S_OK);
    EXPECT_EQ(buffer->SetCurrentLength(static_cast<DWORD>(text.size())), S_OK);
    return buffer;
}

TEST(Sample, BuffersAndTimes) {
    ComPtr<IMFSample> sample;
    ASSERT_EQ(MFCreateSample(sample.Put()), S_OK);
    LONGLONG time = 0;
    EXPECT_EQ(sample->GetSampleTime(&time), MF_E_NO_SAMPLE_TIMESTAMP);
    EXPECT_EQ(sample->GetSampleDuration(&time), MF_E_NO_SAMPLE_DURATION);
    EXPECT_EQ(sample->SetSampleTime(-3), S_OK);
    EXPECT_EQ(sample->GetSampleTime(&time), S_OK);
    EXPECT_EQ(time, -3);

    ComPtr<IMFMediaBuffer> joined;
    EXPECT_EQ(sample->ConvertToContiguousBuffer(joined.Put()), E_UNEXPECTED);
    const ComPtr<IMFMediaBuffer> first = Buffer("abc", 10);
    ASSERT_EQ(sample->AddBuffer(first.Get()), S_OK);
    ASSERT_EQ(sample->ConvertToContiguousBuffer(joined.Put()), S_OK);
    EXPECT_EQ(joined.Get(), first.Get()) << "one buffer is not copied";
    ASSERT_EQ(sample->AddBuffer(Buffer("", 4).Get()), S_OK);
    ASSERT_EQ(sample->AddBuffer(Buffer("defg", 4).Get()), S_OK);
    DWORD length = 0;
    EXPECT_EQ(sample->GetTotalLength(&length), S_OK);
    EXPECT_EQ(length, 7u);
    ASSERT_EQ(sample->ConvertToContiguousBuffer(joined.Put()), S_OK);
    BYTE* data = nullptr;
    ASSERT_EQ(joined->Lock(&data, nullptr, &length), S_OK);
    EXPECT_EQ(std::string(data, data + length), "abcdefg");
    joined->Unlock();
    EXPECT_EQ(sample->GetBufferCount(&length), S_OK);
    EXPECT_EQ(length, 1u);
    EXPECT_EQ(sample->GetBufferByIndex(1, joined.Put()), E_INVALIDARG);
    EXPECT_EQ(first->SetCurrentLength(11), E_INVALIDARG);
}

TEST(MediaTypes, SoundByItsFormat) {
    WAVEFORMATEXTENSIBLE wide{};
    wide.Format = {
        WAVE_FORMAT_EXTENSIBLE, 6, 48000, 48000 * 24, 24, 32, sizeof wide - sizeof(WAVEFORMATEX)};
    wide.Samples.wValidBitsPerSample = 24;
    wide.dwChannelMask = 0x3F;
    wide.SubFormat = MFAudioFormat_Float;
    ComPtr<IMFAudioMediaType> type;
    ASSERT_EQ(MFCreateAudioMediaType(&wide.Format, type.Put()), S_OK);
    GUID guid{};
    EXPECT_EQ(type->GetMajorType(&guid), S_OK);
    EXPECT_EQ(guid, MFMediaType_Audio);
    EXPECT_EQ(type->GetGUID(MF_MT_SUBTYPE, &guid), S_OK);
    EXPECT_EQ(guid, MFAudioFormat_Float);
    const std::pair<GUID, UINT32> numbers[] = {{MF_MT_AUDIO_NUM_CHANNELS, 6},
                                               {MF_MT_AUDIO_SAMPLES_PER_SECOND, 48000},
                                               {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, 48000 * 24},
                                               {MF_MT_AUDIO_BLOCK_ALIGNMENT, 24},
                                               {MF_MT_AUDIO_BITS_PER_SAMPLE, 32},
                                               {MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, 24},
                                               {MF_MT_AUDIO_CHANNEL_MASK, 0x3F}};
    for (const auto& [key, value] : numbers)
        EXPECT_EQ(MFGetAttributeUINT32(type.Get(), key, ~0u), value);

    wide.Format.cbSize = 21;
    EXPECT_EQ(MFCreateAudioMediaType(&wide.Format, type.Put()), E_INVALIDARG);
    // Of another tag, what follows is kept as it is.
    wide.Format.wFormatTag = WAVE_FORMAT_PCM;
    wide.Format.cbSize = 2;
    ASSERT_EQ(MFCreateAudioMediaType(&wide.Format, type.Put()), S_OK);
    EXPECT_EQ(type->GetGUID(MF_MT_SUBTYPE, &guid), S_OK);
    EXPECT_EQ(guid, MFAudioFormat_PCM);
    UINT8 extra[2] = {};
    EXPECT_EQ(type->GetBlob(MF_MT_USER_DATA, extra, 2, nullptr), S_OK);
    EXPECT_EQ(extra[0], 24);
}

TEST(MediaTypes, PictureByItsHeader) {
    struct Case {
        LONG width, height;
        WORD bits;
        HRESULT result;
        std::int32_t stride;
    };
    const Case cases[] = {
        {1280, -720, 32, S_OK, 5120},
        {1280, 720, 32, S_OK, -5120},
        {3, -2, 24, S_OK, 12},
        {0, 0, 32, S_OK, 0},
        {-1, 1, 32, MF_E_INVALIDMEDIATYPE, 0},
        {INT32_MAX, INT32_MIN, 32, MF_E_INVALIDMEDIATYPE, 0},
        {4, 4, 8, MF_E_INVALIDMEDIATYPE, 0},
    };
    for (const Case& each : cases) {
        BITMAPINFOHEADER header{};
        header.biSize = sizeof header;
        header.biWidth = each.width;
        header.biHeight = each.height;
        header.biBitCount = each.bits;
        ComPtr<IMFVideoMediaType> type;
        ASSERT_EQ(MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(&header, sizeof header, 1, 1,
                                                               MFVideoInterlace_Progressive, 0,
                                                               30000, 1001, 0, type.Put()),
                  each.result);
        EXPECT_EQ(static_cast<bool>(type), SUCCEEDED(each.result));
        if (!type) continue;
        UINT32 width = 0;
        UINT32 height = 0;
        EXPECT_EQ(MFGetAttributeSize(type.Get(), MF_MT_FRAME_SIZE, &width, &height), S_OK);
        EXPECT_EQ(width, static_cast<UINT32>(each.width));
        EXPECT_EQ(height, static_cast<UINT32>(std::abs(each.height)));
        EXPECT_EQ(
            static_cast<std::int32_t>(MFGetAttributeUINT32(type.Get(), MF_MT_DEFAULT_STRIDE, 1)),
            each.stride);
        EXPECT_EQ(MFGetAttributeRatio(type.Get(), MF_MT_FRAME_RATE, &width, &height), S_OK);
        EXPECT_EQ(std::make_pair(width, height), std::make_pair(30000u, 1001u));
        EXPECT_TRUE(ComPtr<IMFVideoMediaType>(type).As<IMFMediaType>());
    }
}

TEST(PresentationDescriptor, ClonesHaveASelectionOfTheirOwn) {
    ComPtr<IMFMediaType> type;
    ASSERT_EQ(MFCreateMediaType(type.Put()), S_OK);
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_RGB32);
    IMFMediaType* types[] = {type.Get()};
    ComPtr<IMFStreamDescriptor> stream;
    ASSERT_EQ(MFCreateStreamDescriptor(42, 1, types, stream.Put()), S_OK);
    ComPtr<IMFMediaTypeHandler> handler;
    ASSERT_EQ(stream->GetMediaTypeHandler(handler.Put()), S_OK);
    ComPtr<IMFMediaType> other;
    EXPECT_EQ(handler->GetCurrentMediaType(other.Put()), MF_E_NOT_INITIALIZED);
    ASSERT_EQ(MFCreateMediaType(other.Put()), S_OK);
    EXPECT_EQ(handler->SetCurrentMediaType(other.Get()), MF_E_INVALIDMEDIATYPE);

    IMFStreamDescriptor* streams[] = {stream.Get()};
    ComPtr<IMFPresentationDescriptor> presentation;
    ComPtr<IMFPresentationDescriptor> copy;
    ASSERT_EQ(MFCreatePresentationDescriptor(1, streams, presentation.Put()), S_OK);
    presentation->SetUINT32(MF_MT_SAMPLE_SIZE, 5);
    ASSERT_EQ(presentation->SelectStream(0), S_OK);
    ASSERT_EQ(presentation->Clone(copy.Put()), S_OK);
    ASSERT_EQ(copy->DeselectStream(0), S_OK);
    EXPECT_EQ(copy->SelectStream(1), E_INVALIDARG);
    EXPECT_EQ(MFGetAttributeUINT32(copy.Get(), MF_MT_SAMPLE_SIZE, 0), 5u);
    for (const auto& [each, expected] :
         {std::make_pair(presentation.Get(), TRUE), std::make_pair(copy.Get(), FALSE)}) {
        BOOL selected = FALSE;
        ComPtr<IMFStreamDescriptor> found;
        EXPECT_EQ(each->GetStreamDescriptorByIndex(0, &selected, found.Put()), S_OK);
        EXPECT_EQ(selected, expected);
        EXPECT_EQ(found.Get(), stream.Get());
    }
    EXPECT_EQ(MFCreatePresentationDescriptor(0, nullptr, presentation.Put()), S_OK)
        << "a source without streams";
}

}  // namespace
}  // namespace Vimbrel::test
