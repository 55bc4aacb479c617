// Picture files by foreign programs, made while the tests run.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <wincodec.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "com/ComPtr.h"
#include "platform/linux/wic/ImagingObjects.h"

namespace Vimbrel {

using Bytes = std::vector<std::uint8_t>;

class TempFolder {
public:
    TempFolder() {
        char name[] = "/tmp/vimbrel_stills_XXXXXX";
        if (mkdtemp(name)) path_ = name;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    // Runs shell commands within the folder.
    void Run(const std::string& command) const { ASSERT_EQ(std::system(("cd " + path_ + " && " + command).c_str()), 0) << command; }

private:
    std::string path_;
};

inline Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Opens page 0; the result is the first failure.
inline HRESULT OpenStill(const std::string& path, ComPtr<IWICBitmapFrameDecode>* frame) {
    ComPtr<IWICBitmapDecoder> decoder;
    const HRESULT hr = CreateStillDecoder(path, decoder.Put());
    return FAILED(hr) ? hr : decoder->GetFrame(0, frame->Put());
}

inline HRESULT OpenStill(const std::string& path) {
    ComPtr<IWICBitmapFrameDecode> frame;
    return OpenStill(path, &frame);
}

// All pixels; empty after a failure.
inline Bytes CopyAll(IWICBitmapSource* source) {
    UINT width = 0;
    UINT height = 0;
    if (!source || FAILED(source->GetSize(&width, &height))) return {};
    Bytes pixels(std::size_t{width} * height * 4);
    return FAILED(source->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels.size()), pixels.data())) ? Bytes{} : pixels;
}

}  // namespace Vimbrel
