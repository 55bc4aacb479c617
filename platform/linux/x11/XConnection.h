// A connection to the X server: its screen and what it can do.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/linux/x11/XPixelFormat.h"

namespace Vimbrel {

// Errors of requests without a reply are dropped, those of others are logged at trace level. Once
// the server is gone every request fails; nothing ends the process. Requests with replies may come
// from any thread, events belong to one.
class XConnection {
public:
    // To the server that DISPLAY names. Null if there is none; the log says why.
    static std::shared_ptr<XConnection> Open();
    // One for all who need no events: made anew when DISPLAY names another server or the old one is
    // gone.
    static std::shared_ptr<XConnection> Shared();

    ~XConnection();
    XConnection(const XConnection&) = delete;
    XConnection& operator=(const XConnection&) = delete;

    xcb_connection_t* Get() const { return connection_; }
    const xcb_screen_t& Screen() const { return *screen_; }
    xcb_window_t Root() const { return screen_->root; }
    // Also before a request has failed.
    bool Lost() const;

    bool HasSharedMemory() const { return shared_memory_; }
    bool HasRandr() const { return randr_; }
    bool HasDamage() const { return damage_; }
    bool HasFixes() const { return fixes_; }
    bool HasComposite() const { return composite_; }
    std::uint8_t DamageEvent() const { return damage_event_; }
    std::uint8_t FixesEvent() const { return fixes_event_; }
    std::uint8_t RandrEvent() const { return randr_event_; }

    // How the pixels of windows with that visual lie in memory; unusable if the visual cannot be
    // converted.
    XPixelFormat FormatOf(xcb_visualid_t visual, std::uint8_t depth) const;
    XPixelFormat RootFormat() const { return FormatOf(screen_->root_visual, screen_->root_depth); }

    // Dots per inch: the setting of the desktop, else the primary output's, else 96.
    int Dpi() const;

    // Names of properties.
    struct Atoms {
        xcb_atom_t window_state = 0;
        xcb_atom_t frame_extents = 0;
        xcb_atom_t window_name = 0;
        xcb_atom_t window_list = 0;
    };
    const Atoms& Names() const { return atoms_; }

    // Logs an error and frees it; true if there was none.
    static bool Succeeded(xcb_generic_error_t* error, const char* request);

private:
    explicit XConnection(xcb_connection_t* connection) : connection_(connection) {}
    bool FindScreen(int number);
    void FindExtensions();
    void FindAtoms();
    int SettingDpi() const;

    xcb_connection_t* connection_;
    const xcb_screen_t* screen_ = nullptr;
    Atoms atoms_;
    bool shared_memory_ = false;
    bool randr_ = false;
    bool damage_ = false;
    bool fixes_ = false;
    bool composite_ = false;
    std::uint8_t damage_event_ = 0;
    std::uint8_t fixes_event_ = 0;
    std::uint8_t randr_event_ = 0;
};

}  // namespace Vimbrel
