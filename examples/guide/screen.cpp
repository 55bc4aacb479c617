// Captures frames of the desktop and prints their times.
#include <cstdio>

#include <vimbrel/MediaSourceScreen.h>

namespace {

class Printer final : public Vimbrel::MediaSource::Dispatcher {
public:
    using Source = Vimbrel::MediaSource;

    void OnStateChanged(Source*, Source::State, Source::State) override {}
    void OnVideoSample(Source*, unsigned char*, int width, int height, int, std::int64_t time,
                       std::int64_t) override {
        std::printf("%d x %d at %lld ms\n", width, height, static_cast<long long>(time / 10'000));
    }
    void OnAudioSample(Source*, unsigned char*, int, std::int64_t, std::int64_t) override {}
};

}  // namespace

int main() {
    Printer printer;
    // [screen]
    Vimbrel::MediaSourceScreen screen;
    screen.SetDispatcher(&printer);
    Vimbrel::MediaSourceScreen::Settings settings;
    settings.rect = {0, 0, 640, 480};       // desktop pixels: left, top, right, bottom
    if (!screen.Open(&settings)) return 1;  // settings.window: a handle from EnumWindows
    screen.Play();
    for (int i = 0; i < 10; ++i) screen.RequestSample();  // waits up to 100 ms if nothing changes
    screen.Close();
    // [end]
    return 0;
}
