// Opens the picture named on the command line and prints the size of what it delivers.
#include <objbase.h>
#include <wincodec.h>

#include <cstdio>
#include <filesystem>

// [includes]
#include <vimbrel/AppLog.h>
#include <vimbrel/MediaSourcePicture.h>
// [end]

// [dispatcher]
using Vimbrel::MediaSource;

class Composer : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, MediaSource::State, MediaSource::State now) override {
        ended = now == MediaSource::State::Ended;
    }
    void OnVideoSample(MediaSource*, unsigned char*, int width, int height, int stride,
                       std::int64_t, std::int64_t) override {
        std::printf("a frame of %d x %d, %d bytes per row\n", width, height, stride);
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    bool ended = false;
};
// [end]

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::wstring path = std::filesystem::absolute(argv[1]).wstring();

    // [start]
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);  // on every thread that makes objects
    HalvorixAppLog::GetAppLogger()->Start();        // optional: see logging.md
    // [end]

    // [factory]
    IWICImagingFactory* factory = nullptr;
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(&factory))))
        return 1;
    // [end]
    {
        // [open]
        Composer composer;
        Vimbrel::MediaSourcePicture picture;
        picture.SetDispatcher(&composer);
        picture.SetWicImagingFactory(factory);
        picture.SetFileName(path.c_str());               // absolute
        if (!picture.Open(10'000, 1280, 720)) return 1;  // for 10 s, fitted into 1280 x 720
        picture.Play();
        picture.RequestSample();  // calls OnVideoSample
        // [end]
    }
    factory->Release();
    HalvorixAppLog::GetAppLogger()->Stop();
    CoUninitialize();
    return 0;
}
