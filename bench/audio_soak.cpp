// The mixer by the real clock: channels that are fed in real time by a thread each, while every
// block that comes out is checked and its delay behind its stamp kept. Ends with an error if a
// block is missing or a channel is. Usage: audio_soak [seconds] [channels]
#include <objbase.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "Audio/CAudioMixer.h"
#include "base/Clock.h"

namespace {

using namespace Vimbrel;

struct Delivery {
    std::int64_t arrival;  // on the clock
    std::int64_t timestamp;
    std::int16_t sum;
    bool even;  // all samples are the same
};

// A constant sample of 1 in blocks of 10 ms, with stamps that continue each other, and a lead of
// half a second so that no turn finds the ring empty.
void Produce(CAudioChannel2& channel, const std::atomic<bool>& stopped) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    constexpr std::int64_t units = 100'000;
    std::vector<std::int16_t> block(2 * 441, 1);
    auto next = std::chrono::steady_clock::now();
    for (std::int64_t count = 0; !stopped; ++count) {
        channel.WriteSamples(reinterpret_cast<unsigned char*>(block.data()),
                             static_cast<int>(block.size() * 2), (count + 1000) * units,
                             (count + 1001) * units);
        constexpr int lead = 50;
        if (count < lead) continue;
        next += std::chrono::milliseconds(10);
        std::this_thread::sleep_until(next);
    }
    CoUninitialize();
}

double Milliseconds(std::int64_t units) { return static_cast<double>(units) / 10'000; }

// How late blocks come, counted from the earliest one. The first second is left out, in which the
// channels are added.
bool Judge(std::vector<Delivery> deliveries, std::size_t channels, std::size_t expected) {
    constexpr std::size_t beginning = 43;
    if (deliveries.size() <= beginning) return false;
    deliveries.erase(deliveries.begin(), deliveries.begin() + beginning);
    expected -= beginning;
    std::vector<std::int64_t> late;
    bool complete = deliveries.size() + 2 >= expected;
    std::int64_t earliest = INT64_MAX;
    for (std::size_t i = 0; i < deliveries.size(); ++i) {
        const Delivery& each = deliveries[i];
        complete = complete && each.even && each.sum == static_cast<std::int16_t>(channels) &&
                   (i == 0 || each.timestamp - deliveries[i - 1].timestamp == 232'200);
        late.push_back(each.arrival - each.timestamp);
        earliest = std::min(earliest, late.back());
    }
    std::sort(late.begin(), late.end());
    const auto at = [&](double part) {
        const auto index = static_cast<std::size_t>(part * static_cast<double>(late.size() - 1));
        return Milliseconds(late[index] - earliest);
    };
    std::printf("%zu channels, %zu blocks of %zu: %s\n", channels, deliveries.size(), expected,
                complete ? "every block whole and in its place" : "BLOCKS MISSING");
    std::printf("jitter: median %.2f ms, 99 %% %.2f ms, largest %.2f ms\n", at(0.5), at(0.99),
                at(1));
    return complete;
}

}  // namespace

int main(int count, char** arguments) {
    const int seconds = count > 1 ? std::atoi(arguments[1]) : 60;
    const auto channels = static_cast<std::size_t>(count > 2 ? std::atoi(arguments[2]) : 16);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CAudioMixer mixer;
    std::vector<Delivery> deliveries;
    deliveries.reserve(static_cast<std::size_t>(seconds + 10) * 50);
    mixer.SetDispatcher([&](unsigned char* data, int size, std::int64_t timestamp, std::int64_t) {
        const auto* sound = reinterpret_cast<const std::int16_t*>(data);
        const bool even = std::all_of(sound, sound + size / 2,
                                      [&](std::int16_t sample) { return sample == *sound; });
        deliveries.push_back({Clock::Current().Now(), timestamp, *sound, even});
    });
    mixer.Start();
    std::atomic<bool> stopped{false};
    std::vector<std::thread> producers;
    const auto begin = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < channels; ++i) {
        CAudioChannel2* const channel = mixer.AddChannel(&engine_format);
        producers.emplace_back([channel, &stopped] { Produce(*channel, stopped); });
    }
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    mixer.Stop();
    stopped = true;
    for (std::thread& producer : producers) producer.join();
    const auto expected = static_cast<std::size_t>(elapsed * 1e7 / 232'200);
    return Judge(deliveries, channels, expected) ? 0 : 1;
}
