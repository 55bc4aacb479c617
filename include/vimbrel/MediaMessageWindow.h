// A hidden window that brings notifications from any thread to the thread that creates it.
#pragma once

#include <objbase.h>

#include <winuser.h>

#include "vimbrel/Export.h"

namespace Vimbrel {

// The thread that calls Create must dispatch its messages (platform/winuser.h names the calls);
// everything but the constructor runs there. Any thread may post to `hwnd`.
class VIMBREL_API MediaMessageWindow {
public:
    class Dispatcher {
    public:
        // Every message but the graph message, those of creation and destruction too. If `*handled`
        // is set to true, the result is the window's; otherwise the default handling follows.
        virtual LRESULT OnMessage(unsigned int message, WPARAM wParam, LPARAM lParam,
                                  bool* handled) = 0;
        // The graph has an event to take. The result is the window's.
        virtual LRESULT OnGraphEvent() = 0;

    protected:
        ~Dispatcher() = default;
    };

    // Registers the two messages. `dispatcher` and `hwnd` are null.
    MediaMessageWindow();
    // Copies the fields: the window itself goes on reporting to the object that created it.
    MediaMessageWindow(const MediaMessageWindow&) = default;
    MediaMessageWindow& operator=(const MediaMessageWindow&) = default;
    // Destroys a window that this object created and still has, without a call of the dispatcher.
    virtual ~MediaMessageWindow();

    // `hwnd` stays null if there is no window to be had.
    void Create(HINSTANCE instance);
    // Destroys the window if there is one; `hwnd` and `dispatcher` become null. Messages that were
    // posted and not yet dispatched are lost.
    void Destroy();

    static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT OnProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    Dispatcher* dispatcher = nullptr;  // not owned
    HWND hwnd = nullptr;
    unsigned int graphMessage;
    unsigned int stateMessage;
};

}  // namespace Vimbrel
