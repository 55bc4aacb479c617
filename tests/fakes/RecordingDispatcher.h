// Keeps what a source says.
#pragma once

#include <utility>
#include <vector>

#include "vimbrel/MediaSource.h"

namespace Vimbrel::test {

class RecordingDispatcher final : public MediaSource::Dispatcher {
public:
    struct Change {
        MediaSource* source;
        MediaSource::State from;
        MediaSource::State to;
        MediaSource::State state_seen;  // what GetState said during the call
        bool operator==(const Change&) const = default;
    };
    struct Video {
        MediaSource* source;
        unsigned char* pixels;
        int width, height, stride;
        std::int64_t time, duration;
        bool operator==(const Video&) const = default;
    };
    void OnStateChanged(MediaSource* source, MediaSource::State from,
                        MediaSource::State to) override {
        changes.push_back({source, from, to, source->GetState()});
    }
    void OnVideoSample(MediaSource* source, unsigned char* pixels, int width, int height,
                       int stride, std::int64_t time, std::int64_t duration) override {
        video.push_back({source, pixels, width, height, stride, time, duration});
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    // The states announced, in order.
    std::vector<MediaSource::State> States() const {
        std::vector<MediaSource::State> states;
        for (const Change& change : changes) states.push_back(change.to);
        return states;
    }

    std::vector<Change> changes;
    std::vector<Video> video;
};

}  // namespace Vimbrel::test
