#include "sound/MediaSound.h"

namespace studio {

MediaSound::MediaSound() : engine(*Vimbrel::CAudioFactory2::GetInstance()) {
    engine.SetDispatcher([this](unsigned char* data, int size, std::int64_t, std::int64_t) {
        queue.PushBytes(data, size);
    });
    engine.Start();
    engine.SetMediaMixMode(true);
}

MediaSound::~MediaSound() {
    // A change of the mode leaves the engine running.
    engine.SetMediaMixMode(false);
    engine.Stop();
    engine.SetDispatcher(nullptr);
}

}  // namespace studio
