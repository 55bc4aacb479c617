// The last picture of a source that delivers by itself.
#pragma once

#include <objbase.h>

#include <mutex>

#include "layers/Layer.h"
#include "vimbrel/MediaSource.h"

namespace studio {

// Pictures arrive on the source's streaming thread. A derived layer has a thread of its own, which
// opens the source and gets its messages, and ends it before this part goes.
class SourceLayer : public Layer, protected Vimbrel::MediaSource::Dispatcher {
public:
    void Draw(std::int64_t time_ms, Raster& canvas) override;

protected:
    SourceLayer(const LayerDescription& description, Fit source_fit);

    // Waits as long for messages of this thread, and dispatches those that there are.
    static void DispatchMessages(DWORD milliseconds);

private:
    void OnStateChanged(Vimbrel::MediaSource*, Vimbrel::MediaSource::State,
                        Vimbrel::MediaSource::State) override {}
    void OnVideoSample(Vimbrel::MediaSource*, unsigned char* pixels, int width, int height,
                       int stride, std::int64_t, std::int64_t) override;
    void OnAudioSample(Vimbrel::MediaSource*, unsigned char*, int, std::int64_t,
                       std::int64_t) override {}

    const Rect rect;
    const double opacity;
    const Fit fit;
    Raster scaled;  // of the streaming thread

    std::mutex lock;
    Raster shown;        // guarded by lock
    bool drawn = false;  // guarded by lock; `shown` holds a picture
};

}  // namespace studio
