// Opens the picture named on the command line and records it into the GIF named after it, using
// only what is installed.
#include <objbase.h>
#include <wincodec.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include <vimbrel/AppLog.h>
#include <vimbrel/MediaSourceGame.h>
#include <vimbrel/MediaSourcePicture.h>
#include <vimbrel/MediaSourceText.h>
#include <vimbrel/MediaTranscode.h>

namespace {

class Forwarder final : public Vimbrel::MediaSource::Dispatcher {
public:
    explicit Forwarder(Vimbrel::MediaTranscode& recorder) : recorder_(recorder) {}

    void OnStateChanged(Vimbrel::MediaSource*, Vimbrel::MediaSource::State,
                        Vimbrel::MediaSource::State) override {}
    void OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                       int stride, std::int64_t time, std::int64_t duration) override {
        recorder_.SetVideoSample(pixels, static_cast<unsigned>(width),
                                 static_cast<unsigned>(height), static_cast<unsigned>(stride), time,
                                 duration);
    }
    void OnAudioSample(Vimbrel::MediaSource*, unsigned char*, int, std::int64_t,
                       std::int64_t) override {}

private:
    Vimbrel::MediaTranscode& recorder_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWICImagingFactory* factory = nullptr;
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(&factory))))
        return 3;
    {
        const auto recorder = Vimbrel::CreateMediaTranscodeGIF();
        Forwarder forwarder(*recorder);
        Vimbrel::MediaSourcePicture source;
        source.SetDispatcher(&forwarder);
        source.SetWicImagingFactory(factory);
        source.SetFileName(std::filesystem::absolute(argv[1]).wstring().c_str());
        if (!source.Open(60'000, 0, 0) || !source.Play()) return 4;
        recorder->SetVideoOutputFormat(source.GetMediaInfo().width, source.GetMediaInfo().height);
        recorder->SetVideoFps(20, 1);
        recorder->Create(std::filesystem::absolute(argv[2]).wstring());
        if (!recorder->Start()) return 5;
        for (int i = 0; i < 200 && Vimbrel::GetTranscodeStatistics(*recorder).videoWritten < 3;
             ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            source.RequestSample();
        }
        recorder->Stop();
        recorder->Cleanup();
        if (Vimbrel::GetTranscodeStatistics(*recorder).videoWritten < 3) return 6;
        if (HalvorixAppLog::GetAppLogger()->PreCheck(HalvorixAppLog::LOGGER_MAIN,
                                                     HalvorixAppLog::LOG_LEVEL_FATAL))
            return 7;
    }
    factory->Release();
    CoUninitialize();
    return 0;
}
