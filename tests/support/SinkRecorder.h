// What a sink of the test's sound server plays, with its times.
#pragma once

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "base/Clock.h"
#include "platform/linux/pulse/PulseConnection.h"
#include "platform/linux/pulse/RecordStream.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

class SinkRecorder {
public:
    static constexpr int rate = 48'000;

    explicit SinkRecorder(const std::string& source = "speakers.monitor") {
        std::shared_ptr<PulseConnection> connection;
        EXPECT_EQ(PulseConnection::Open(connection), S_OK);
        WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, rate, rate * 2, 2, 16, 0};
        EXPECT_EQ(RecordStream::Open(connection, source, format, stream), S_OK);
        EXPECT_EQ(stream->Start(), S_OK);
        thread = std::thread([this] { Record(); });
        // A stream's first packets come when the server is ready, which takes a while.
        EXPECT_TRUE(WaitFor(rate / 10));
    }
    ~SinkRecorder() {
        over = true;
        thread.join();
    }

    // Forgets what was recorded, and waits for so many frames more.
    bool Renew(std::size_t frames) {
        {
            const std::lock_guard guard(lock);
            samples.clear();
            times.clear();
        }
        return WaitFor(frames);
    }
    bool WaitFor(std::size_t frames) {
        return WaitUntil([&] { return Samples().size() >= frames; });
    }
    std::vector<double> Samples() {
        const std::lock_guard guard(lock);
        return samples;
    }
    // Units of 100 nanoseconds, of each sample.
    std::vector<LONGLONG> Times() {
        const std::lock_guard guard(lock);
        return times;
    }

private:
    // A sink's rate is not exactly what its format says, and single packets are late: times are
    // those of the packet of the last hundred that came soonest, which is a second or so.
    void Record() {
        constexpr double frame_time = 1e7 / rate;
        double recorded = 0;
        std::deque<double> delays;
        while (!over) {
            RecordStream::Packet packet{};
            if (FAILED(stream->Peek(packet))) return;
            if (packet.frames == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                continue;
            }
            const auto* const data = reinterpret_cast<const std::int16_t*>(packet.data);
            const double begin = frame_time * recorded;
            recorded += packet.frames;
            delays.push_back(static_cast<double>(Clock::Current().Now()) - frame_time * recorded);
            if (delays.size() > 100) delays.pop_front();
            const double delay = *std::min_element(delays.begin(), delays.end());
            {
                const std::lock_guard guard(lock);
                for (std::uint32_t i = 0; i < packet.frames; ++i) {
                    samples.push_back(data[i]);
                    times.push_back(static_cast<LONGLONG>(begin + delay + frame_time * i));
                }
            }
            stream->Drop();
        }
    }

    std::unique_ptr<RecordStream> stream;
    std::atomic<bool> over{false};
    std::mutex lock;
    std::vector<double> samples;
    std::vector<LONGLONG> times;
    std::thread thread;
};

}  // namespace Vimbrel::test
