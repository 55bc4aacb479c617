#include "vimbrel/MediaSourceText.h"

#include "base/SetText.h"

namespace Vimbrel {

MediaSourceText::MediaSourceText() = default;
MediaSourceText::~MediaSourceText() = default;

void MediaSourceText::SetFileName(const wchar_t* name) { Vimbrel::SetText(fileName, name); }
void MediaSourceText::SetText(const wchar_t* newText) { Vimbrel::SetText(text, newText); }

bool MediaSourceText::Open() {
    SetState(State::Opened);
    return true;
}

bool MediaSourceText::Play() {
    SetState(State::Playing);
    return true;
}

bool MediaSourceText::Pause() {
    SetState(State::Paused);
    return true;
}

void MediaSourceText::Stop() { SetState(State::Stopped); }

}  // namespace Vimbrel
