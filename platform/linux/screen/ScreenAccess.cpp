#include "vimbrel/ScreenAccess.h"

#include <utility>

#include "platform/linux/screen/CastScreen.h"
#include "platform/linux/screen/ScreenChoice.h"

namespace Vimbrel {

struct ScreenAccess::State {
    std::shared_ptr<CastScreen> screen;
};

ScreenAccess::ScreenAccess() : state(std::make_unique<State>()) {}

ScreenAccess::~ScreenAccess() = default;

ScreenAccess::Result ScreenAccess::Ask(const Request& request) {
    if (!IsWaylandChosen()) return Result::NotNeeded;
    CastWishes wishes;
    wishes.window = request.kind == Kind::Window;
    wishes.cursor = request.cursor;
    // Windows are captured with the pointer that the desktop draws into them.
    wishes.cursor_apart = !wishes.window;
    wishes.token = request.token;
    wishes.still_wanted = request.stillWanted;
    std::shared_ptr<CastScreen> granted;
    const HRESULT hr = wishes.window ? CastScreen::Open(wishes, granted)
                                     : CastScreen::OpenDesktop(wishes, granted);
    if (hr == E_ACCESSDENIED) return Result::Refused;
    if (hr == E_ABORT) return Result::GivenUp;
    if (FAILED(hr)) return Result::Failed;
    token = granted->Token();
    // The screen before ends after the new one is there.
    std::swap(state->screen, granted);
    return Result::Granted;
}

void ScreenAccess::Release() { state->screen.reset(); }

HWND ScreenAccess::Window() const { return state->screen ? state->screen->Window() : nullptr; }

std::int32_t ScreenAccess::Width() const {
    return state->screen ? static_cast<std::int32_t>(state->screen->Size().cx) : 0;
}

std::int32_t ScreenAccess::Height() const {
    return state->screen ? static_cast<std::int32_t>(state->screen->Size().cy) : 0;
}

bool ScreenAccess::IsLost() const { return state->screen && state->screen->IsLost(); }

}  // namespace Vimbrel
