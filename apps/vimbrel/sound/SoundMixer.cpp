#include "sound/SoundMixer.h"

#include <algorithm>
#include <cmath>

namespace studio {

std::unique_ptr<SoundMixer> SoundMixer::Open(const std::vector<SoundDescription>& descriptions,
                                             std::string& error) {
    auto mixer = std::make_unique<SoundMixer>();
    std::vector<std::unique_ptr<SoundFile>> files;
    for (const SoundDescription& description : descriptions) {
        files.push_back(SoundFile::Open(description.file, error));
        if (!files.back()) {
            error.insert(0, description.place + ".file: ");
            return nullptr;
        }
        if (files.back()->Rate() % 48000 == 0) mixer->rate = 48000;
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
        const int from = files[i]->Rate();
        mixer->tracks.push_back({std::move(files[i]), SoundResampler(from, mixer->rate),
                                 static_cast<float>(descriptions[i].volume)});
    }
    return mixer;
}

const std::int16_t* SoundMixer::Read(std::size_t frames) {
    const std::size_t size = frames * channels;
    sum.assign(size, 0.0f);
    part.resize(size);
    for (Track& track : tracks) {
        track.resampler.Read(*track.file, part.data(), frames);
        for (std::size_t i = 0; i < size; ++i) sum[i] += track.volume * part[i];
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
