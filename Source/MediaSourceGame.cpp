#include "vimbrel/MediaSourceGame.h"

namespace Vimbrel {

MediaSourceGame::MediaSourceGame() = default;
MediaSourceGame::~MediaSourceGame() = default;

// The state stays Closed for ever, so there is nothing to announce.
void MediaSourceGame::Close() {}

}  // namespace Vimbrel
