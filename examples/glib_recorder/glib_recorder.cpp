// Plays a film and records it as an animated GIF, in an application that lives on a GLib loop.
#include <glib-unix.h>
#include <objbase.h>
#include <winuser.h>

#include <csignal>
#include <cstdio>
#include <filesystem>

#include <vimbrel/MediaSourceDS.h>
#include <vimbrel/MediaTranscode.h>

namespace {

using Source = Vimbrel::MediaSource;

// [recorder]
class Recorder final : public Source::Dispatcher {
public:
    explicit Recorder(GMainLoop* loop) : loop_(loop) {}

    // On the thread that opened the source, out of DispatchMessageW.
    void OnStateChanged(Source*, Source::State, Source::State now) override {
        if (now == Source::State::Ended) g_main_loop_quit(loop_);
    }
    // On a thread of the source: the recorder takes a copy and never waits.
    void OnVideoSample(Source*, unsigned char* pixels, int width, int height, int stride,
                       std::int64_t time, std::int64_t duration) override {
        gif->SetVideoSample(pixels, static_cast<unsigned>(width), static_cast<unsigned>(height),
                            static_cast<unsigned>(stride), time, duration);
    }
    void OnAudioSample(Source*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    const std::unique_ptr<Vimbrel::MediaTranscode> gif = Vimbrel::CreateMediaTranscodeGIF();

private:
    GMainLoop* loop_;
};
// [end]

// [pump]
gboolean PumpMessages(gint, GIOCondition, gpointer) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    return G_SOURCE_CONTINUE;
}
// [end]

gboolean Quit(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

int Fail(const char* why) {
    std::fprintf(stderr, "%s\n", why);
    return 1;
}

int Record(GMainLoop* loop, const char* film, const char* file) {
    Recorder recorder(loop);
    Vimbrel::MediaSourceDS source;
    source.SetFileName(std::filesystem::absolute(film).wstring().c_str(), true);
    source.SetDispatcher(&recorder);
    if (!source.Open() || !source.GetMediaInfo().hasVideo)
        return Fail("this is no film that can be played");
    recorder.gif->SetVideoOutputFormat(320, 240);  // the film is fitted into this box
    recorder.gif->SetVideoFps(10, 1);
    recorder.gif->Create(std::filesystem::absolute(file).wstring());  // always false for a GIF
    if (!recorder.gif->Start()) return Fail("the recorder does not start");
    if (source.Play()) g_main_loop_run(loop);
    source.Close();
    const auto counts = [&] { return Vimbrel::GetTranscodeStatistics(*recorder.gif); };
    for (int i = 0; i < 500 && counts().videoTaken > counts().videoWritten + counts().videoDropped;
         ++i)
        g_usleep(10'000);
    recorder.gif->Stop();  // drops what still waits, ends the file
    std::printf("%llu pictures\n", static_cast<unsigned long long>(counts().videoWritten));
    return counts().failed ? Fail("the GIF was not written to its end") : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return Fail("usage: glib_recorder FILM OUT.gif");
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    // [loop]
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    // The descriptor is readable while this thread has messages: no timer is needed.
    g_unix_fd_add(VimbrelMessageDescriptor(), G_IO_IN, PumpMessages, nullptr);
    g_unix_signal_add(SIGINT, Quit, loop);
    // [end]
    const int code = Record(loop, argv[1], argv[2]);
    g_main_loop_unref(loop);
    CoUninitialize();
    return code;
}
