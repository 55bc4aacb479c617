// A picture file as a source: a still, or the frames of an animated GIF.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vimbrel/MediaSource.h"

struct IWICImagingFactory;
struct IWICBitmapDecoder;
struct IWICMetadataQueryReader;

namespace Vimbrel {

// Order of calls: SetWicImagingFactory, SetFileName, Open, Play, then RequestSample at the
// application's own pace. The source has no thread. Opening and sampling must not overlap; the
// calls may come from different threads otherwise.
//
// A still is decoded once and every request hands out the same buffer, without copying, until the
// duration has run out; then the source goes to Ended and can be played again. A GIF is decoded to
// its raw frames, each at its own size and place; the application composes them, and a request
// brings no more than a tick: OnVideoSample with a null buffer and zeros.
//
// On Linux these are refused: stills with (width + 128) * (height + 128) of 2^28 or more, GIFs with
// a logical screen or a frame of more than 2^28 pixels, and GIFs whose frames would take more than
// half of the memory that is free, at 4 bytes a pixel. On Windows the system's decoders set the
// bounds.
class VIMBREL_API MediaSourcePicture : public MediaSource {
public:
    struct Gif {
        std::uint32_t totalDelay = 0;       // milliseconds of one pass
        std::uint32_t backgroundColor = 0;  // 0xAARRGGBB, 0 if the file names none
        std::uint32_t width = 0;            // logical screen, pixels
        std::uint32_t height = 0;
        std::uint32_t displayWidth = 0;  // the same after the pixel aspect ratio
        std::uint32_t displayHeight = 0;
        std::uint32_t loopCount = 0;  // 0 if the file names none
        bool hasLoop = false;         // loopCount is not 0
        // Set by the application: the source then goes to Ended when its duration has passed. While
        // it is false the source ticks for ever.
        bool stopAtEnd = false;
    };

    struct VIMBREL_API Frame {
        Frame() = default;
        Frame(const Frame&) = delete;
        Frame& operator=(const Frame&) = delete;
        ~Frame();

        // Premultiplied blue, green, red, alpha of the frame's own rectangle; rows top down, width
        // * 4 bytes each. Owned.
        unsigned char* pixels = nullptr;
        bool transparent = false;
        std::uint32_t width = 0;  // as decoded
        std::uint32_t height = 0;
        std::int32_t left = 0;  // place on the logical screen
        std::int32_t top = 0;
        std::int32_t right = 0;
        std::int32_t bottom = 0;
        std::uint32_t delay = 0;     // milliseconds, never below 90
        std::uint32_t disposal = 0;  // the GIF disposal code
    };

    MediaSourcePicture();
    ~MediaSourcePicture() override;

    // Null empties the name. The path must be absolute.
    void SetFileName(const wchar_t* name);
    const std::wstring& GetFileName() const { return fileName; }
    // Neither referenced nor released: the application keeps it alive. Must be set before an open.
    void SetWicImagingFactory(IWICImagingFactory* factory) { wicFactory = factory; }
    IWICImagingFactory* GetWicImagingFactory() { return wicFactory; }

    SourceType GetSourceType() override { return SourceType::Picture; }
    // Natural size, 5000 ms.
    bool Open() override;
    // `duration` in milliseconds. A still larger than the box maxWidth x maxHeight is scaled down
    // to fit, its shape kept; nothing is enlarged, and a side of 0 or less means no box. The box
    // does not apply to a GIF. A failed open keeps the state, the media information, GetPixels and
    // GetGif; if the file could be identified, GetFrameCount is already the new file's, and frames
    // of a GIF that were decoded before the failure are appended to the earlier ones.
    bool Open(long duration, long maxWidth, long maxHeight);
    bool Play() override;
    void Stop() override;
    void RequestSample() override;

    // Premultiplied blue, green, red, alpha, rows top down, width * 4 bytes each, sizes as in
    // MEDIA_INFO. The source's own buffer, valid until the next open or the end of the source; null
    // before an open succeeded. For a GIF it is all zero.
    const unsigned char* GetPixels() const { return pixels.get(); }
    // `index` must be below the number of decoded frames, which is below GetFrameCount if frames
    // could not be decoded; GetDecodedFrameCount returns it. The frame stays the source's.
    Frame* GetFrame(int index) const { return frames[static_cast<std::size_t>(index)].get(); }
    // What the decoder reported, for stills too.
    int GetFrameCount() const { return frameCount; }
    // How many frames GetFrame can return.
    int GetDecodedFrameCount() const { return static_cast<int>(frames.size()); }
    // Null for a still. The source's own record, which the application may write to.
    Gif* GetGif() const { return gif.get(); }

private:
    long OpenPicture(long& width, long& height, long maxWidth, long maxHeight);
    long OpenStill(IWICBitmapDecoder* decoder, long& width, long& height, long maxWidth,
                   long maxHeight);
    long OpenGif(IWICBitmapDecoder* decoder, long& width, long& height);
    bool SetOpened(long result, long width, long height, double duration);
    long GetGifMeta(IWICImagingFactory* factory, IWICBitmapDecoder* decoder);
    long GetGifBkgColor(IWICImagingFactory* factory, IWICBitmapDecoder* decoder,
                        IWICMetadataQueryReader* reader);
    long GetGifFrame(IWICImagingFactory* factory, IWICBitmapDecoder* decoder, int index);

    std::vector<std::unique_ptr<Frame>> frames;
    std::unique_ptr<Gif> gif;
    IWICImagingFactory* wicFactory = nullptr;
    std::unique_ptr<unsigned char[]> pixels;
    double counterFrequency = 0.0;
    std::int64_t firstSampleTime = 0;
    std::int32_t frameCount = 0;
    std::uint32_t sampleCount = 0;
    std::wstring fileName;
};

}  // namespace Vimbrel
