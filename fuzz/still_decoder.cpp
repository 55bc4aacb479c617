// Opens the input as a still, and renders it whole and scaled.
#include <sys/mman.h>
#include <unistd.h>
#include <wincodec.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "com/ComPtr.h"
#include "platform/linux/wic/ImagingObjects.h"

namespace {

using Vimbrel::ComPtr;

void Open(const std::string& path) {
    ComPtr<IWICBitmapDecoder> decoder;
    if (FAILED(Vimbrel::CreateStillDecoder(path, decoder.Put()))) return;
    ComPtr<IWICBitmapFrameDecode> frame;
    if (FAILED(decoder->GetFrame(0, frame.Put()))) return;
    UINT width = 0;
    UINT height = 0;
    frame->GetSize(&width, &height);
    if (std::uint64_t{width} * height > 1 << 20) return;  // sound, and slow
    std::vector<std::uint8_t> pixels(std::size_t{width} * height * 4);
    if (FAILED(
            frame->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels.size()), pixels.data())))
        std::abort();
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
        // Except where the file itself claims to be multiplied.
        GUID container{};
        decoder->GetContainerFormat(&container);
        if (container == GUID_ContainerFormatTiff) break;
        if (pixels[i] > pixels[i + 3] || pixels[i + 1] > pixels[i + 3] ||
            pixels[i + 2] > pixels[i + 3])
            std::abort();
    }
    ComPtr<IWICBitmapScaler> scaler;
    Vimbrel::CreateBitmapScaler(scaler.Put());
    if (FAILED(scaler->Initialize(frame.Get(), 21, 9, WICBitmapInterpolationModeCubic)))
        std::abort();
    std::uint8_t scaled[21 * 9 * 4];
    if (FAILED(scaler->CopyPixels(nullptr, 21 * 4, sizeof scaled, scaled))) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = memfd_create("still", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size))
        return 0;
    Open(path);
    return 0;
}
