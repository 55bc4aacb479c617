#include "sound/MediaSound.h"

namespace studio {

MediaSound::MediaSound() : engine(*Vimbrel::CAudioFactory2::GetInstance()) {
    engine.SetDispatcher(
        [this](unsigned char* data, int size, std::int64_t time, std::int64_t duration) {
            // A period without sound has no call. Without silence in its place all that follows
            // would come sooner: a file that repeats has such a period at each of its ends.
            if (time > next)
                queue.PushSilence(static_cast<std::size_t>((time - next) * rate / second));
            next = time + duration;
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
