// A cast with its picture and sound, as the tests of servers use it.
#pragma once

#include <chrono>
#include <cmath>
#include <memory>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel::test {

using namespace std::chrono_literals;
using Framing = RTMPCastOptions::Framing;

inline constexpr int width = 320;
inline constexpr int height = 240;

// Red in the upper half, blue in the lower, and a white bar that moves to the right.
inline std::vector<unsigned char> Picture(int number, int wide = width, int high = height) {
    std::vector<unsigned char> pixels(static_cast<std::size_t>(wide) * static_cast<std::size_t>(high) * 4);
    for (int y = 0; y < high; ++y) {
        for (int x = 0; x < wide; ++x) {
            unsigned char* pixel =
                &pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(wide) + static_cast<std::size_t>(x)) * 4];
            const bool bar = x / 16 == number % (wide / 16);
            pixel[0] = bar || y >= high / 2 ? 255 : 0;
            pixel[1] = bar ? 255 : 0;
            pixel[2] = bar || y < high / 2 ? 255 : 0;
            pixel[3] = 255;
        }
    }
    return pixels;
}

// 1024 sample frames of a tone, 16 bits, stereo.
inline std::vector<std::int16_t> Tone(int block) {
    std::vector<std::int16_t> samples(2048);
    for (int i = 0; i < 1024; ++i) {
        const double phase = (block * 1024 + i) * 2 * std::numbers::pi * 440 / 44100;
        samples[static_cast<std::size_t>(2 * i)] = samples[static_cast<std::size_t>(2 * i + 1)] =
            static_cast<std::int16_t>(8000 * std::sin(phase));
    }
    return samples;
}

// Pictures and sound, each at its own pace.
inline void Play(CMediaRTMPCast& cast, int frames, int wide = width, int high = height, std::int64_t begin = 10'000'000) {
    const auto start = std::chrono::steady_clock::now();
    std::thread sound([&] {
        for (int block = 0; block * 1024.0 / 44100 < frames / 30.0; ++block) {
            std::this_thread::sleep_until(start + block * 23220us);
            std::vector<std::int16_t> tone = Tone(block);
            cast.SetAudioSample(reinterpret_cast<unsigned char*>(tone.data()), 4096, 0, 0, 0);
        }
    });
    for (int number = 0; number < frames; ++number) {
        std::this_thread::sleep_until(start + number * 33333us);
        std::vector<unsigned char> picture = Picture(number, wide, high);
        cast.SetVideoSample(picture.data(), static_cast<unsigned>(wide), static_cast<unsigned>(high), wide * 4, begin + number * 333'333LL);
    }
    sound.join();
    // What the encoders and the network still hold.
    std::this_thread::sleep_for(500ms);
}

inline std::unique_ptr<CMediaRTMPCast> MakeCast(const std::string& url, Framing framing = Framing::Native) {
    std::unique_ptr<CMediaRTMPCast> cast = CreateRTMPCast({.framing = framing});
    cast->SetServer(url, "", "");
    cast->SetVideoOutputFormat(width, height, 30, 1);
    cast->SetVideoQuality(2);
    cast->SetAudioOutputFormat(2, 44100, 16000);
    return cast;
}

}  // namespace Vimbrel::test
