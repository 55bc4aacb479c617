// Scripted devices for the factories, on both systems.
#pragma once

#include <gmock/gmock.h>

#include "tests/Audio/AudioKit.h"
#include "tests/fakes/FakeEndpoints.h"
#include "tests/fakes/FakeMicrophone.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {

using Samples = std::vector<std::int16_t>;

inline WAVEFORMATEXTENSIBLE FloatFormat(DWORD rate, WORD channels) {
    WAVEFORMATEXTENSIBLE format{};
    format.Format = {WAVE_FORMAT_IEEE_FLOAT,          channels, rate, rate * channels * 4,
                     static_cast<WORD>(channels * 4), 32,       0};
    return format;
}

inline FakePacket PacketOf(const Samples& samples, UINT64 position, UINT64 counter) {
    std::vector<BYTE> bytes(samples.size() * 2);
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return {bytes, static_cast<UINT32>(samples.size() / 2), position, counter};
}

class FactoryTest : public testing::Test {
protected:
    FactoryTest() : devices(Pcm(2, 44'100, 16)) {
        endpoints.Add(L"Speakers", FloatFormat(44'100, 2));
        endpoints.default_device = endpoints.devices[0];
    }

    auto Collect() {
        return [this](unsigned char* data, int size, std::int64_t time, std::int64_t duration) {
            const MutexLock guard(mutex);
            Samples samples(static_cast<std::size_t>(size) / 2);
            std::memcpy(samples.data(), data, samples.size() * 2);
            blocks.push_back({std::move(samples), time, duration, std::this_thread::get_id()});
        };
    }
    std::size_t Count() EXCLUDES(mutex) {
        const MutexLock guard(mutex);
        return blocks.size();
    }
    bool Came(std::size_t count) {
        return WaitUntil([&] { return Count() >= count; });
    }

    struct Block {
        Samples samples;
        std::int64_t time, duration;
        std::thread::id thread;
    };

    const Watchdog watchdog{"factory test"};
    ScopedCom com;
    FakeEndpoints endpoints;
    FakeDevice& speakers() { return *endpoints.devices[0]; }
    FakeMicrophones devices;
    FakeMicrophone& microphone() { return *devices.newest.Get(); }
    Mutex mutex;
    std::vector<Block> blocks;  // read when nothing delivers
};

}  // namespace Vimbrel::test
