// A cast whose pictures and sound can be told apart in its recording: pictures carry their number,
// the sound is nowhere like itself, and every two seconds both carry a mark.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <sstream>

#include "tests/support/CastSession.h"
#include "tests/support/RtmpServer.h"

namespace Vimbrel::test {

inline constexpr int number_bits = 12;
inline constexpr int samples_per_picture = 44100 / 30;
inline constexpr int samples_per_frame = 1024;  // of AAC

// A tenth of a second of every two.
inline bool IsMarked(int number) { return number % 60 >= 30 && number % 60 < 33; }

// The lower half is a bar for each bit of the number; the upper is noise, or white for a mark.
inline std::vector<unsigned char> NumberedPicture(int number) {
    std::vector<unsigned char> pixels(std::size_t{4} * width * height);
    std::uint32_t random = static_cast<std::uint32_t>(number) * 7919U + 12345U;
    unsigned char* pixel = pixels.data();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, pixel += 4) {
            random = random * 1664525U + 1013904223U;
            const bool lit =
                y >= height / 2 ? (number >> (x * number_bits / width) & 1) != 0 : IsMarked(number);
            const unsigned char dark =
                y >= height / 2 ? 0 : static_cast<unsigned char>(random >> 26);
            std::memset(pixel, lit ? 255 : dark, 4);
        }
    }
    return pixels;
}

// A tone that rises all the time, louder for a mark.
inline std::int16_t SoundAt(int sample) {
    const double time = sample / 44100.0;
    const double level = IsMarked(sample / samples_per_picture) ? 20000 : 4000;
    return static_cast<std::int16_t>(
        level * std::sin(2 * std::numbers::pi * (300 * time + 50 * time * time)));
}

using Casts = std::vector<CMediaRTMPCast*>;

inline void GivePicture(const Casts& casts, int number) {
    auto picture = NumberedPicture(number);
    for (auto* cast : casts)
        cast->SetVideoSample(picture.data(), width, height, width * 4,
                             10'000'000 + number * 333'333LL);
}

// Not the encoder's frames. A quarter of a second of them may wait in a machine that is held up,
// before any is lost.
inline constexpr int block_samples = 1000;

inline void GiveSound(const Casts& casts, int first) {
    std::array<std::int16_t, std::size_t{2} * block_samples> block;
    for (int i = 0; i < block_samples; ++i)
        block[std::size_t{2} * i] = block[std::size_t{2} * i + 1] = SoundAt(first + i);
    for (auto* cast : casts)
        cast->SetAudioSample(reinterpret_cast<unsigned char*>(block.data()), sizeof block, 0, 0, 0);
}

// Waits until what is read has been the same for some tenths of a second.
template <class Read>
void WaitUntilStill(Read read, int tenths = 5) {
    auto last = read();
    for (int still = 0, i = 0; still < tenths && i < 600; ++i) {
        std::this_thread::sleep_for(100ms);
        const auto now = read();
        still = now == last ? still + 1 : 0;
        last = now;
    }
}

// What a server has recorded, once it writes no more.
class CastRecording {
public:
    struct Packet {
        int time = 0;  // milliseconds
        int size = 0;
    };

    CastRecording(const RtmpServer& server, const std::string& key)
        : folder(server.folder), file(server.Recording(key).string()) {
        WaitUntilStill([&] { return Size(server, key); });
    }
    // So far; of a file that may not yet be there.
    static std::uintmax_t Size(const RtmpServer& server, const std::string& key) {
        std::error_code ignored;
        return std::filesystem::file_size(server.Recording(key), ignored);
    }

    std::vector<Packet> Packets(const std::string& stream) const {
        std::istringstream lines(
            folder.Run("ffprobe -v quiet -fflags nofillin -select_streams " + stream +
                       " -show_entries packet=pts_time,size -of compact=p=0:nk=1 " + file));
        std::vector<Packet> packets;
        double seconds = 0;
        int size = 0;
        for (std::string line; std::getline(lines, line);) {
            if (std::sscanf(line.c_str(), "%lf|%d", &seconds, &size) != 2) continue;
            packets.push_back({static_cast<int>(std::lround(seconds * 1000)), size});
        }
        return packets;
    }

    // Packets of one time, which is what the pieces of a picture have, as one.
    std::vector<Packet> Pictures() const {
        std::vector<Packet> pictures;
        for (const Packet& packet : Packets("v")) {
            if (pictures.empty() || pictures.back().time != packet.time)
                pictures.push_back({packet.time, 0});
            pictures.back().size += packet.size;
        }
        return pictures;
    }

protected:
    const TempFolder& folder;
    const std::string file;
};

// That of a cast with numbers and marks, read by foreign programs.
class MarkedRecording : public CastRecording {
public:
    MarkedRecording(const RtmpServer& server, const std::string& key) : CastRecording(server, key) {
        // Each bar becomes a pixel, and so does the noise or the mark above it.
        folder.Run("ffmpeg -v quiet -y -i " + file +
                   " -map 0:v -vsync passthrough -vf scale=" + std::to_string(number_bits) +
                   ":2:flags=area -pix_fmt gray -f rawvideo pictures");
        const auto pixels = ReadBytes(folder / "pictures");
        for (std::size_t begin = 0; begin < pixels.size(); begin += std::size_t{2} * number_bits) {
            int number = 0;
            for (std::size_t bit = 0; bit < number_bits; ++bit)
                number |= (pixels.at(begin + number_bits + bit) > 127 ? 1 : 0) << bit;
            numbers.push_back(number);
            marked.push_back(pixels[begin] > 127);
        }
    }

    std::vector<std::int16_t> Sound() const {
        folder.Run("ffmpeg -v quiet -y -i " + file + " -map 0:a -ac 1 -f s16le sound");
        const auto bytes = ReadBytes(folder / "sound");
        std::vector<std::int16_t> sound(bytes.size() / 2);
        std::memcpy(sound.data(), bytes.data(), sound.size() * 2);
        return sound;
    }

    // That the sound is what was played, each sample of it once. At its begin stands the encoder's
    // frame of silence; at its end one frame is still in the encoder, and one is not full.
    void ExpectSound(int played) const {
        const std::vector<std::int16_t> sound = Sound();
        EXPECT_GT(sound.size(), static_cast<std::size_t>(played - 2 * samples_per_frame));
        EXPECT_LE(sound.size(), static_cast<std::size_t>(played + samples_per_frame));
        double worst = 1;
        int place = 0;
        // The edges have nothing to overlap with.
        for (int first = samples_per_frame;
             first + 3 * samples_per_frame <= static_cast<int>(sound.size());
             first += samples_per_frame) {
            double both = 0, heard = 0, given = 0;
            for (int i = first; i < first + samples_per_frame; ++i) {
                const double a = sound[static_cast<std::size_t>(i + samples_per_frame)];
                const double b = SoundAt(i);
                both += a * b;
                heard += a * a;
                given += b * b;
            }
            const double likeness = both / std::sqrt(heard * given + 1);
            if (likeness < worst) {
                worst = likeness;
                place = first;
            }
        }
        // Where a mark begins or ends it is less than elsewhere. One sample too few, and it would
        // be 0.98 at 1400 Hz, and ever less above.
        EXPECT_GT(worst, 0.98) << "at " << place / 44100.0 << " s";
    }

    // Moments in the recording, in milliseconds, at which the pictures' and the sound's marks
    // begin.
    std::vector<int> PictureMarks() const {
        std::vector<int> times;
        const std::vector<Packet> packets = Pictures();
        for (std::size_t i = 1; i < std::min(numbers.size(), packets.size()); ++i) {
            if (marked[i] && !marked[i - 1]) times.push_back(packets[i].time);
        }
        return times;
    }
    std::vector<int> SoundMarks() const {
        std::vector<int> times;
        const std::vector<std::int16_t> sound = Sound();
        const std::vector<Packet> packets = Packets("a");
        for (std::size_t i = 0, last = 0; i < sound.size(); ++i) {
            if (std::abs(int{sound[i]}) < 12000) continue;
            const std::size_t frame = i / samples_per_frame;
            if (times.empty() || i - last > 22050)
                times.push_back(packets.at(frame).time +
                                static_cast<int>(i % samples_per_frame * 10 / 441));
            last = i;
        }
        return times;
    }

    std::vector<int> numbers;  // of the pictures, in their order
    std::vector<bool> marked;  // of each picture
};

// Every packet so many milliseconds after the one before.
inline void ExpectRising(const std::vector<CastRecording::Packet>& packets, int least_step,
                         int most_step) {
    for (std::size_t i = 1; i < packets.size(); ++i) {
        const int step = packets[i].time - packets[i - 1].time;
        EXPECT_TRUE(step >= least_step && step <= most_step)
            << "packet " << i << " at " << packets[i].time << " ms is " << step << " later";
    }
}

// Sound that follows its length. Where the machine was held up for more than a tenth of a second
// the clock takes over for some packets; none may be of the time of another.
inline void ExpectSteadySound(const std::vector<CastRecording::Packet>& packets) {
    ExpectRising(packets, 1, 400);
    std::size_t odd = 0;
    for (std::size_t i = 1; i < packets.size(); ++i) {
        const int step = packets[i].time - packets[i - 1].time;
        if (step != 23 && step != 24) ++odd;
    }
    EXPECT_LE(odd, packets.size() / 20);
}

inline std::vector<int> NumbersUpTo(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

}  // namespace Vimbrel::test
