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
    std::vector<unsigned char> pixels(static_cast<std::size_t>(wide) *
                                      static_cast<std::size_t>(high) * 4);
    for (int y = 0; y < high; ++y) {
        for (int x = 0; x < wide; ++x) {
            unsigned char* pixel =
                &pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(wide) +
                         static_cast<std::size_t>(x)) *
                        4];
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

// Calls for each of so many pictures and for each block of sound beside them, by its first sample,
// when it is due; the sound on a thread of its own.
template <class PictureCall, class SoundCall>
void Pace(int frames, int block, PictureCall give_picture, SoundCall give_sound) {
    const auto start = std::chrono::steady_clock::now();
    std::thread sound([&] {
        for (std::int64_t first = 0; first * 30 < std::int64_t{frames} * 44100; first += block) {
            std::this_thread::sleep_until(start + first * 1'000'000us / 44100);
            give_sound(static_cast<int>(first));
        }
    });
    for (int number = 0; number < frames; ++number) {
        std::this_thread::sleep_until(start + number * 33333us);
        give_picture(number);
    }
    sound.join();
}

// Pictures and sound, each at its own pace.
inline void Play(CMediaRTMPCast& cast, int frames, int wide = width, int high = height,
                 std::int64_t begin = 10'000'000) {
    Pace(
        frames, 1024,
        [&](int number) {
            std::vector<unsigned char> picture = Picture(number, wide, high);
            cast.SetVideoSample(picture.data(), static_cast<unsigned>(wide),
                                static_cast<unsigned>(high), wide * 4, begin + number * 333'333LL);
        },
        [&](int first) {
            std::vector<std::int16_t> tone = Tone(first / 1024);
            cast.SetAudioSample(reinterpret_cast<unsigned char*>(tone.data()), 4096, 0, 0, 0);
        });
    // Leaves time for what the encoders and the network still hold: a cast does not report when it
    // has sent everything.
    std::this_thread::sleep_for(500ms);
}

inline std::unique_ptr<CMediaRTMPCast> MakeCast(const std::string& url,
                                                Framing framing = Framing::Native) {
    std::unique_ptr<CMediaRTMPCast> cast = CreateRTMPCast({.framing = framing});
    cast->SetServer(url, "", "");
    cast->SetVideoOutputFormat(width, height, 30, 1);
    cast->SetVideoQuality(2);
    cast->SetAudioOutputFormat(2, 44100, 16000);
    return cast;
}

}  // namespace Vimbrel::test
