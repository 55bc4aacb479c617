// Takes the place of the window in builds without SDL.
#include <cstdio>

#include "preview/PreviewState.h"

namespace studio {

void RunPreviewWindow(const std::shared_ptr<PreviewState>&) {
    std::fprintf(stderr, "vimbrel: no preview: this command was built without SDL\n");
}

}  // namespace studio
