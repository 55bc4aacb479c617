// A game as a source: a placeholder in an application's list of layers.
#pragma once

#include "vimbrel/MediaSource.h"

namespace Vimbrel {

// Never leaves Closed: Open, Play and Pause return false, Close and Stop do nothing.
class VIMBREL_API MediaSourceGame : public MediaSource {
public:
    MediaSourceGame();
    ~MediaSourceGame() override;

    SourceType GetSourceType() override { return SourceType::Game; }
    void Close() override;
};

}  // namespace Vimbrel
