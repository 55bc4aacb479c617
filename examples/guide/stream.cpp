// Sends ten seconds of a colour to the server named on the command line.
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include <vimbrel/MediaRTMPCast.h>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    constexpr int width = 640;
    constexpr int height = 360;
    std::vector<unsigned char> pixels(std::size_t{4} * width * height, 90);
    // [cast]
    const auto cast = Vimbrel::CreateRTMPCast();
    cast->SetServer(argv[1], "", "");  // rtmp://host/application/key
    cast->SetVideoOutputFormat(width, height, 30, 1);
    cast->EnableAudio(false);
    cast->SetCallback([](int status) { std::printf("the link was lost: %d\n", status); });
    const int status = cast->Start();
    if (status != Vimbrel::RTMPCAST_OK) {
        std::printf("the cast did not start: %d\n", status);
        return 1;
    }
    for (std::int64_t frame = 0; frame < 300; ++frame) {
        cast->SetVideoSample(pixels.data(), width, height, width * 4, frame * 10'000'000 / 30);
        std::this_thread::sleep_for(std::chrono::milliseconds(33));
    }
    cast->Stop();
    // [end]
    return 0;
}
