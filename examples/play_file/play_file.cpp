// Plays a media file in a window. Space pauses, the arrows seek five seconds, q ends.
#include <objbase.h>
#include <winuser.h>

#define SDL_MAIN_HANDLED
#include <SDL.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include <vimbrel/AudioDeviceEnumerator.h>
#include <vimbrel/MediaSourceDS.h>

namespace {

using Source = Vimbrel::MediaSource;

// [picture]
// The last picture. It is written on the streaming thread and shown on the window's.
class Picture final : public Source::Dispatcher {
public:
    void OnStateChanged(Source*, Source::State, Source::State) override {}
    void OnVideoSample(Source*, unsigned char* pixels, int width, int height, int stride,
                       std::int64_t, std::int64_t) override {
        const std::lock_guard guard(lock_);
        rows_.resize(static_cast<std::size_t>(width) * 4 * static_cast<std::size_t>(height));
        for (int y = 0; y < height; ++y)
            std::memcpy(rows_.data() + std::ptrdiff_t{width} * 4 * y,
                        pixels + std::ptrdiff_t{stride} * y, static_cast<std::size_t>(width) * 4);
        width_ = width;
        fresh_ = true;
    }
    void OnAudioSample(Source*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    // False if there is no other one than the last time.
    bool CopyTo(SDL_Texture* texture) {
        const std::lock_guard guard(lock_);
        return std::exchange(fresh_, false) &&
               SDL_UpdateTexture(texture, nullptr, rows_.data(), width_ * 4) == 0;
    }

private:
    std::mutex lock_;
    std::vector<unsigned char> rows_;
    int width_ = 0;
    bool fresh_ = false;
};
// [end]

int Fail(const char* why, const char* detail = "") {
    std::fprintf(stderr, "%s%s\n", why, detail);
    return 1;
}

// [keys]
// False if the user wants to end.
bool HandleEvent(const SDL_Event& event, Vimbrel::MediaSourceDS& source) {
    if (event.type == SDL_QUIT) return false;  // the window's button, or Ctrl-C
    if (event.type != SDL_KEYDOWN) return true;
    const SDL_Keycode key = event.key.keysym.sym;
    if (key == SDLK_SPACE) {
        source.GetState() == Source::State::Playing ? source.Pause() : source.Play();
    } else if (key == SDLK_LEFT || key == SDLK_RIGHT) {
        const double target = source.GetCurrentPosition() + (key == SDLK_LEFT ? -5 : 5);
        source.Seek(std::clamp(target, 0.0, source.GetDuration()));
    }
    return key != SDLK_q;
}
// [end]

int Play(Vimbrel::MediaSourceDS& source, Picture& picture) {
    // [window]
    const auto& info = source.GetMediaInfo();
    SDL_Window* const window =
        SDL_CreateWindow("Vimbrel", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, info.width,
                         info.height, SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
    SDL_Renderer* const renderer = window ? SDL_CreateRenderer(window, -1, 0) : nullptr;
    SDL_Texture* const texture =
        renderer ? SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888,
                                     SDL_TEXTUREACCESS_STREAMING, info.width, info.height)
                 : nullptr;
    if (!texture) return Fail("there is no window: ", SDL_GetError());
    SDL_RenderSetLogicalSize(renderer, info.width, info.height);  // keeps the aspect
    // [end]

    // [loop]
    if (!source.Play()) return Fail("the file does not play");
    int shown = 0;
    for (bool wanted = true; wanted && source.GetState() != Source::State::Ended;) {
        MSG message;  // by which the source learns of its end
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
        SDL_Event event;
        if (SDL_WaitEventTimeout(&event, 5)) wanted = HandleEvent(event, source);
        if (!picture.CopyTo(texture)) continue;
        SDL_RenderClear(renderer);
        SDL_RenderCopy(renderer, texture, nullptr, nullptr);
        SDL_RenderPresent(renderer);
        ++shown;
    }
    // [end]
    std::printf("%d pictures shown, up to second %.1f\n", shown, source.GetCurrentPosition());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return Fail("usage: play_file FILE");
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SDL_Init(SDL_INIT_VIDEO) != 0) return Fail("there is no display: ", SDL_GetError());
    int code = 0;
    {
        // [open]
        auto& devices = *Vimbrel::AudioDeviceEnumerator::GetInstance();
        devices.EnumerateOutputDevices(0);
        Picture picture;  // outlives the source
        Vimbrel::MediaSourceDS source;
        source.SetFileName(std::filesystem::absolute(argv[1]).wstring().c_str(), true);
        source.SetAudioRenderDevice(devices.GetDefaultOutputDevice());  // empty: without sound
        source.SetDispatcher(&picture);
        if (!source.Open() || !source.GetMediaInfo().hasVideo) {
            code = Fail("this is no film that can be played: ", argv[1]);
        } else {
            code = Play(source, picture);
        }
        source.Close();
        // [end]
    }
    SDL_Quit();
    CoUninitialize();
    return code;
}
