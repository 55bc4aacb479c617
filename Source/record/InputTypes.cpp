#include "Source/record/InputTypes.h"

#include <mfapi.h>
#include <mfidl.h>
#include <wingdi.h>

#include <cstring>
#include <vector>

namespace Vimbrel {

HRESULT CreateAudioType(const WAVEFORMATEX& format, const unsigned char* extra,
                        ComPtr<IMFMediaType>& type) {
    // The platform reads the format's own bytes directly after the format.
    const std::size_t extra_size = extra ? format.cbSize : 0;
    std::vector<unsigned char> bytes(sizeof format + extra_size);
    WAVEFORMATEX head = format;
    head.cbSize = static_cast<WORD>(extra_size);
    std::memcpy(bytes.data(), &head, sizeof head);
    if (extra) std::memcpy(bytes.data() + sizeof head, extra, extra_size);
    ComPtr<IMFAudioMediaType> audio_type;
    const HRESULT hr = MFCreateAudioMediaType(reinterpret_cast<const WAVEFORMATEX*>(bytes.data()),
                                              audio_type.Put());
    if (SUCCEEDED(hr)) type = ComPtr<IMFMediaType>(audio_type.Get());
    return hr;
}

HRESULT CreateVideoType(const VideoInputFormat& format, ComPtr<IMFMediaType>& type) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = static_cast<LONG>(format.width);
    header.biHeight = static_cast<LONG>(0 - format.height);  // top down
    header.biPlanes = 1;
    header.biBitCount = 32;
    header.biSizeImage = format.width * format.height * 4;
    ComPtr<IMFVideoMediaType> video_type;
    const HRESULT hr = MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
        &header, sizeof header, 1, 1, MFVideoInterlace_Progressive, 0, format.fps_num,
        format.fps_den, 0, video_type.Put());
    if (SUCCEEDED(hr)) type = ComPtr<IMFMediaType>(video_type.Get());
    return hr;
}

}  // namespace Vimbrel
