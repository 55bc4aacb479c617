// A window that shows a run: the composed picture, and a meter per source of sound.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "scene/Raster.h"
#include "sound/SoundMixer.h"

namespace studio {

struct PreviewState;

// The window has a thread of its own, and nothing here waits for the display.
class Preview {
public:
    // Where no window can be opened, a line on the terminal says so and nothing is shown.
    Preview(const std::string& title, int width, int height,
            const std::vector<SoundLevel>& sources);
    // Gives the thread half a second; a display that hangs keeps it until the program's end.
    ~Preview();
    Preview(const Preview&) = delete;
    Preview& operator=(const Preview&) = delete;

    // Whether a display that hangs or broke has kept a thread of a preview. The program then ends
    // without the libraries' clean-up, since they would free what that thread uses.
    static bool IsThreadLeft();

    // Whether the window has shown the last picture. That is so at most as often as the display
    // shows one.
    bool IsReady() const;
    // Copies the picture. `levels` are the loudest since the last call, in the order of `sources`.
    void Show(const Raster& picture, const std::vector<SoundLevel>& levels);
    // The next key that was pressed in the window, or 0; q if it was closed. Does not wait.
    char Pressed();

private:
    const std::shared_ptr<PreviewState> state;
};

}  // namespace studio
