#include "vimbrel/MediaSourceGame.h"

namespace Vimbrel {

MediaSourceGame::MediaSourceGame() = default;
MediaSourceGame::~MediaSourceGame() = default;

// The state is always Closed: there is no change to announce.
void MediaSourceGame::Close() {}

}  // namespace Vimbrel
