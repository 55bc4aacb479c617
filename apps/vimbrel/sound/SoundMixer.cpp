#include "sound/SoundMixer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sound/MediaSound.h"
#include "sound/SampleQueue.h"
#include "sound/SoundFile.h"

namespace studio {

std::unique_ptr<SoundSource> SoundMixer::OpenSource(const SoundDescription& description,
                                                    Track& track, std::string& error) {
    if (const auto* const file = std::get_if<SoundFileDescription>(&description.content)) {
        track.name = file->file.filename().string();
        track.volume = static_cast<float>(description.volume);
        auto source = SoundFile::Open(file->file, error);
        if (!source) error.insert(0, description.place + ".file: ");
        return source;
    }
    track.happens = true;
    if (std::holds_alternative<MediaSoundDescription>(description.content)) {
        track.name = "media";
        track.volume = static_cast<float>(description.volume);
        return std::make_unique<MediaSound>();
    }
    auto source = LiveSound::Open(description, error);
    if (!source) {
        error.insert(0, description.place + ".device: ");
        return nullptr;
    }
    track.live = source.get();
    track.name = source->Name();
    // A microphone is turned down by its device.
    track.volume = source->IsMicrophone() ? 1.0F : static_cast<float>(description.volume);
    return source;
}

std::unique_ptr<SoundMixer> SoundMixer::Open(const std::vector<SoundDescription>& descriptions,
                                             std::string& error) {
    auto mixer = std::make_unique<SoundMixer>();
    mixer->tracks.resize(descriptions.size());
    // Microphones that start while media are mixed would be mixed with them.
    for (const bool media : {false, true}) {
        for (std::size_t i = 0; i < descriptions.size(); ++i) {
            const auto& content = descriptions[i].content;
            if (std::holds_alternative<MediaSoundDescription>(content) != media) continue;
            Track& track = mixer->tracks[i];
            track.source = OpenSource(descriptions[i], track, error);
            if (!track.source) return nullptr;
            if (track.source->Rate() % 48000 == 0) mixer->rate = 48000;
        }
    }
    for (Track& track : mixer->tracks)
        track.resampler = SoundResampler(track.source->Rate(), mixer->rate);
    return mixer;
}

std::size_t SoundMixer::Lag() const {
    const bool happens =
        std::any_of(tracks.begin(), tracks.end(), [](const Track& track) { return track.happens; });
    return happens ? static_cast<std::size_t>(rate / live_lags_per_second) : 0;
}

std::vector<SoundLevel> SoundMixer::Levels() {
    std::vector<SoundLevel> levels;
    for (Track& track : tracks)
        levels.push_back(
            {track.name, std::exchange(track.peak, 0.0F), track.live && track.live->IsMuted()});
    return levels;
}

void SoundMixer::ToggleMicrophones() {
    bool any_heard = false;
    for (const Track& track : tracks)
        any_heard |= track.live && track.live->IsMicrophone() && !track.live->IsMuted();
    for (const Track& track : tracks) {
        if (track.live && track.live->IsMicrophone()) track.live->SetMuted(any_heard);
    }
}

const std::int16_t* SoundMixer::Read(std::size_t frames) {
    const std::size_t size = frames * channels;
    sum.assign(size, 0.0f);
    part.resize(size);
    for (Track& track : tracks) {
        track.resampler.Read(*track.source, part.data(), frames);
        for (std::size_t i = 0; i < size; ++i) {
            const float sample = track.volume * part[i];
            sum[i] += sample;
            // Not of what is no number.
            if (std::abs(sample) > track.peak) track.peak = std::abs(sample);
        }
    }
    mixed.resize(size);
    std::transform(sum.begin(), sum.end(), mixed.begin(), [](float value) {
        // A file may hold what is no number.
        return std::isnan(value) ? std::int16_t{0}
                                 : static_cast<std::int16_t>(std::lrint(
                                       std::clamp(value * 32768.0f, -32768.0f, 32767.0f)));
    });
    return mixed.data();
}

}  // namespace studio
