#include "outputs/RtmpOutput.h"

#include <chrono>
#include <cstdio>
#include <new>
#include <thread>

#include "sound/SoundMixer.h"

namespace studio {

namespace {

constexpr int aac_bytes_per_second = 16000;

std::string RateText(int bits_per_second) {
    char text[32];
    if (bits_per_second < 1'000'000) {
        std::snprintf(text, sizeof text, "%d kbit/s", bits_per_second / 1000);
    } else {
        std::snprintf(text, sizeof text, "%.1f Mbit/s", bits_per_second / 1e6);
    }
    return text;
}

OutputFailure FailureOf(int status, const std::string& place, const std::string& target) {
    switch (status) {
        case Vimbrel::RTMPCAST_BAD_URL:
            return {place + ": the URL's options, behind its blank, are not known", exit_bad_input};
        case Vimbrel::RTMPCAST_CONNECTION_FAILED:
            return {place + ": " + target + ": no connection to the server", exit_no_connection};
        case Vimbrel::RTMPCAST_STREAM_FAILED:
            return {place + ": " + target + ": the server does not take the stream",
                    exit_stream_refused};
        default:
            return {place + ": the encoders cannot be started; the log tells more",
                    exit_output_failed};
    }
}

}  // namespace

std::string PublicUrl(const std::string& url) {
    std::string shown = url.substr(0, url.find(' '));
    const std::size_t host = shown.find("://");
    const std::size_t path =
        host == std::string::npos ? std::string::npos : shown.find('/', host + 3);
    const std::size_t last = shown.rfind('/');
    if (path != std::string::npos && last > path) shown = shown.substr(0, last) + "/...";
    const std::size_t at = shown.rfind('@', path);
    if (host != std::string::npos && at != std::string::npos && at > host)
        shown.erase(host + 3, at + 1 - (host + 3));
    return shown;
}

RtmpOutput::RtmpOutput(const OutputDescription& description, const CanvasDescription& canvas,
                       int rate_of_sound)
    : target(PublicUrl(description.stream.url)), sound_rate(rate_of_sound) {
    using Framing = Vimbrel::RTMPCastOptions::Framing;
    const auto framing = description.stream.standard_framing ? Framing::Standard : Framing::Native;
    cast = Vimbrel::CreateReconnectingCast({.cast = {.framing = framing, .progress = progress},
                                            .attempts = description.stream.reconnect,
                                            .on_change = [this](bool connected) {
                                                away = !connected;
                                                if (connected) ++returns;
                                            }});
    if (!cast) throw std::bad_alloc();
    cast->SetServer(description.stream.url, description.stream.user, description.stream.password);
    cast->SetVideoOutputFormat(canvas.width, canvas.height, canvas.fps, 1);
    cast->SetVideoQuality(description.quality);
    cast->SetAudioOutputFormat(SoundMixer::channels, sound_rate, aac_bytes_per_second);
    cast->EnableAudio(sound_rate != 0);
    cast->SetCallback([this](int) { lost = true; });
}

RtmpOutput::~RtmpOutput() { cast->Stop(); }

std::unique_ptr<Output> RtmpOutput::Start(const OutputDescription& description,
                                          const CanvasDescription& canvas, int sound_rate,
                                          OutputFailure& failure) {
    std::unique_ptr<RtmpOutput> output(new RtmpOutput(description, canvas, sound_rate));
    const int status = output->cast->Start();
    if (status == Vimbrel::RTMPCAST_OK) return output;
    failure = FailureOf(status, description.place, output->target);
    return nullptr;
}

void RtmpOutput::Push(const Raster& canvas, std::int64_t time) {
    if (lost) return;
    ++pushed;
    // The cast takes a first time of 0 for none.
    cast->SetVideoSample(const_cast<std::uint8_t*>(canvas.pixels.data()),
                         static_cast<unsigned>(canvas.width), static_cast<unsigned>(canvas.height),
                         static_cast<int>(canvas.Stride()), time + 1);
}

void RtmpOutput::PushSound(const std::int16_t* frames, std::size_t count, std::int64_t) {
    if (lost || sound_rate == 0) return;
    sound.insert(sound.end(), frames, frames + count * SoundMixer::channels);
    // Blocks have the length of an AAC frame, so that each frame has a message of its own.
    constexpr std::size_t block = 1024 * SoundMixer::channels;
    std::size_t sent = 0;
    for (; sent + block <= sound.size(); sent += block) {
        cast->SetAudioSample(reinterpret_cast<unsigned char*>(sound.data() + sent),
                             static_cast<int>(block * sizeof sound[0]), 0, 0, 0);
    }
    sound.erase(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(sent));
}

// Waits because a stopped cast drops what is not sent yet.
void RtmpOutput::WaitUntilSent() const {
    using Clock = std::chrono::steady_clock;
    using namespace std::chrono_literals;
    constexpr auto longest = 15s;
    constexpr auto longest_still = 3s;
    const auto start = Clock::now();
    auto still_since = start;
    for (std::uint64_t last = 0;
         !lost && !away && progress->sent + progress->dropped < progress->taken;) {
        const auto now = Clock::now();
        if (progress->sent != last) still_since = now;
        last = progress->sent;
        if (now - start > longest || now - still_since > longest_still) break;
        std::this_thread::sleep_for(10ms);
    }
    // Nothing counts the sound: the last of it gets some time.
    if (!lost && !away) std::this_thread::sleep_for(100ms);
}

bool RtmpOutput::Finish(std::string& error) {
    WaitUntilSent();
    const bool ended_away = away;
    average_rate = cast->GetAverageBitRate();
    cast->Stop();
    if (!lost && !ended_away) return true;
    error = target + ": the link was lost after " + std::to_string(progress->sent) + " frames";
    return false;
}

OutputStatus RtmpOutput::Status() const {
    return {.pushed = pushed, .written = progress->sent, .dropped = progress->dropped};
}

std::string RtmpOutput::State() const {
    if (lost) return "lost";
    return away ? "reconnecting" : RateText(cast->GetCurrentBitRate());
}

std::string RtmpOutput::Returns() const {
    if (returns == 0) return {};
    return returns == 1 ? ", connected again once"
                        : ", connected again " + std::to_string(returns) + " times";
}

std::string RtmpOutput::Summary(std::uint64_t skipped) const {
    const std::uint64_t sent = progress->sent;
    return "cast to " + target + ": " + std::to_string(sent) + " frames, " +
           std::to_string(pushed - sent + skipped) + " dropped, " + RateText(average_rate) +
           Returns();
}

}  // namespace studio
