#include "platform/linux/mf/objects/MediaType.h"

#include <mfapi.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace Vimbrel {

template <class List>
HRESULT STDMETHODCALLTYPE MediaTypeObject<List>::GetMajorType(GUID* type) {
    return this->GetGUID(MF_MT_MAJOR_TYPE, type);
}

bool IsMediaType(IMFMediaType* type, const GUID& major_type, const GUID& subtype) {
    GUID found{};
    if (FAILED(type->GetGUID(MF_MT_MAJOR_TYPE, &found)) || found != major_type) return false;
    return SUCCEEDED(type->GetGUID(MF_MT_SUBTYPE, &found)) && found == subtype;
}

namespace {

// Attributes set one after the other, with the first failure kept.
class TypeWriter {
public:
    explicit TypeWriter(IMFMediaType* type) : type_(type) {}

    void Set(REFGUID key, UINT32 value) { Keep(type_->SetUINT32(key, value)); }
    void SetPair(REFGUID key, UINT32 first, UINT32 second) {
        Keep(MFSetAttributeSize(type_, key, first, second));
    }
    void Set(REFGUID key, REFGUID value) { Keep(type_->SetGUID(key, value)); }
    void Set(REFGUID key, const UINT8* value, UINT32 size) {
        Keep(type_->SetBlob(key, value, size));
    }
    HRESULT Result() const { return result_; }

private:
    void Keep(HRESULT hr) {
        if (SUCCEEDED(result_)) result_ = hr;
    }

    IMFMediaType* type_;
    HRESULT result_ = S_OK;
};

// The format's tag in the place that all tags share.
GUID SubtypeOfTag(WORD tag) {
    GUID subtype = MFAudioFormat_PCM;
    subtype.Data1 = tag;
    return subtype;
}

HRESULT DescribeAudio(const WAVEFORMATEX& format, IMFMediaType* type) {
    TypeWriter writer(type);
    writer.Set(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
    writer.Set(MF_MT_AUDIO_NUM_CHANNELS, format.nChannels);
    writer.Set(MF_MT_AUDIO_SAMPLES_PER_SECOND, format.nSamplesPerSec);
    writer.Set(MF_MT_AUDIO_BLOCK_ALIGNMENT, format.nBlockAlign);
    writer.Set(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, format.nAvgBytesPerSec);
    writer.Set(MF_MT_AUDIO_BITS_PER_SAMPLE, format.wBitsPerSample);
    GUID subtype = SubtypeOfTag(format.wFormatTag);
    UINT32 described = 0;  // of what follows the structure
    if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE) {
        WAVEFORMATEXTENSIBLE extensible;
        described = sizeof extensible - sizeof format;
        if (format.cbSize < described) return E_INVALIDARG;
        std::memcpy(&extensible, &format, sizeof extensible);
        subtype = extensible.SubFormat;
        if (extensible.Samples.wValidBitsPerSample)
            writer.Set(MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, extensible.Samples.wValidBitsPerSample);
        writer.Set(MF_MT_AUDIO_CHANNEL_MASK, extensible.dwChannelMask);
    } else {
        writer.Set(MF_MT_AUDIO_PREFER_WAVEFORMATEX, 1u);
    }
    writer.Set(MF_MT_SUBTYPE, subtype);
    if (subtype == MFAudioFormat_PCM || subtype == MFAudioFormat_Float)
        writer.Set(MF_MT_ALL_SAMPLES_INDEPENDENT, 1u);
    if (format.cbSize > described) {
        const auto* const extra =
            reinterpret_cast<const UINT8*>(&format) + sizeof format + described;
        writer.Set(MF_MT_USER_DATA, extra, format.cbSize - described);
    }
    return writer.Result();
}

}  // namespace

}  // namespace Vimbrel

using namespace Vimbrel;

extern "C" {

HRESULT WINAPI MFCreateMediaType(IMFMediaType** type) {
    if (!type) return E_POINTER;
    return CreateCom<MediaType>(type);
}

HRESULT WINAPI MFCreateAudioMediaType(const WAVEFORMATEX* format, IMFAudioMediaType** type) try {
    if (!format || !type) return E_POINTER;
    *type = nullptr;
    ComPtr<AudioMediaType> made = MakeCom<AudioMediaType>();
    const HRESULT hr = DescribeAudio(*format, made.Get());
    if (SUCCEEDED(hr)) *type = made.Detach();
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT WINAPI MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
    const BITMAPINFOHEADER* header, UINT32 size, DWORD pixel_aspect_x, DWORD pixel_aspect_y,
    MFVideoInterlaceMode interlace, QWORD flags, DWORD fps_numerator, DWORD fps_denominator,
    DWORD max_bit_rate, IMFVideoMediaType** type) try {
    if (!header || !type) return E_POINTER;
    *type = nullptr;
    if (size < sizeof *header || header->biSize < sizeof *header || flags != 0) return E_INVALIDARG;
    if (header->biCompression != BI_RGB || header->biWidth < 0) return MF_E_INVALIDMEDIATYPE;
    const GUID* subtype = nullptr;
    switch (header->biBitCount) {
        case 16:
            subtype = &MFVideoFormat_RGB555;
            break;
        case 24:
            subtype = &MFVideoFormat_RGB24;
            break;
        case 32:
            subtype = &MFVideoFormat_RGB32;
            break;
        default:
            return MF_E_INVALIDMEDIATYPE;
    }
    const auto width = static_cast<UINT32>(header->biWidth);
    const auto height = static_cast<UINT32>(std::llabs(header->biHeight));
    // Rows begin at a multiple of four bytes.
    const std::uint64_t stride = (std::uint64_t{width} * header->biBitCount + 31) / 32 * 4;
    if (stride > INT32_MAX || stride * height > UINT32_MAX) return MF_E_INVALIDMEDIATYPE;
    const auto step = static_cast<std::int32_t>(stride) * (header->biHeight > 0 ? -1 : 1);

    ComPtr<VideoMediaType> made = MakeCom<VideoMediaType>();
    TypeWriter writer(made.Get());
    writer.Set(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    writer.Set(MF_MT_SUBTYPE, *subtype);
    writer.SetPair(MF_MT_FRAME_SIZE, width, height);
    writer.SetPair(MF_MT_FRAME_RATE, fps_numerator, fps_denominator);
    writer.SetPair(MF_MT_PIXEL_ASPECT_RATIO, pixel_aspect_x, pixel_aspect_y);
    writer.Set(MF_MT_INTERLACE_MODE, static_cast<UINT32>(interlace));
    writer.Set(MF_MT_DEFAULT_STRIDE, static_cast<UINT32>(step));
    writer.Set(MF_MT_SAMPLE_SIZE, static_cast<UINT32>(stride * height));
    writer.Set(MF_MT_FIXED_SIZE_SAMPLES, 1u);
    writer.Set(MF_MT_ALL_SAMPLES_INDEPENDENT, 1u);
    if (max_bit_rate) writer.Set(MF_MT_AVG_BITRATE, max_bit_rate);
    if (SUCCEEDED(writer.Result())) *type = made.Detach();
    return writer.Result();
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // extern "C"
