// A screen or window that the user has granted: its newest picture and pointer.
#pragma once

#include <windows.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/portal/CastEvents.h"
#include "platform/linux/portal/CastStream.h"
#include "platform/linux/screen/DirtyAreas.h"
#include "platform/linux/x11/PixelBuffer.h"
#include "platform/linux/x11/XPointer.h"

namespace Vimbrel {

// What one reader of a screen has not read yet. Guarded by the screen's lock.
struct CastReader {
    DirtyAreas dirty;
    UINT pictures = 0;  // since the last read
    bool everything = true;
    unsigned sizes = 0;   // of the screen when the reader was made
    unsigned moves = 0;   // of the pointer that were read
    unsigned shapes = 0;  // of the pointer that were read
};

struct CastPointer {
    bool visible = false;
    int x = 0;  // of the hot spot
    int y = 0;

    bool operator==(const CastPointer&) const = default;
};

// What a read has brought.
struct CastNews {
    CastPicture picture;  // the newest
    UINT pictures = 0;    // 0: it is as it was
    DirtyAreas dirty;     // since the last read
    CastPointer pointer;
    bool shape = false;
};

// The stream's thread writes, any number of threads read. The session ends with the object.
class CastScreen final : private CastEvents {
public:
    // Asks the user and waits for the first picture. E_ACCESSDENIED after a refusal, E_ABORT if it
    // was given up, else E_FAIL with the reason in the log.
    static HRESULT Open(const CastWishes& wishes, std::shared_ptr<CastScreen>& screen);
    // The desktop, for which the user is asked only if nobody has it open.
    static HRESULT OpenDesktop(CastWishes wishes, std::shared_ptr<CastScreen>& screen);
    // Null if nobody has it open.
    static std::shared_ptr<CastScreen> Desktop();
    // By the handle of a window that was granted; null for others.
    static std::shared_ptr<CastScreen> OfWindow(HWND window);

    ~CastScreen();
    CastScreen(const CastScreen&) = delete;
    CastScreen& operator=(const CastScreen&) = delete;

    SIZE Size() const;
    bool IsLost() const;
    const std::string& Token() const { return token_; }
    // Null for the desktop.
    HWND Window() const { return window_; }

    // The first read after it takes the whole picture.
    void Attach(CastReader& reader);
    void Detach(CastReader& reader);
    // S_OK as soon as there is something to read, DXGI_ERROR_WAIT_TIMEOUT, or
    // DXGI_ERROR_ACCESS_LOST if the screen has another size or is gone.
    HRESULT Wait(CastReader& reader, std::chrono::steady_clock::time_point deadline) const;
    // Brings `shape` up to date. The picture has the size when the reader was made.
    HRESULT Read(CastReader& reader, XPointerShape& shape, CastNews& news);

    // Copies a part of the picture, cut at its borders, to (x, y) of the target, where it fits;
    // the alpha bytes there stay. False without a picture.
    bool ReadArea(const RECT& area, const PixelBuffer& target, int x, int y) const;
    CastPointer ReadPointer(XPointerShape& shape) const;

private:
    CastScreen() = default;

    HRESULT Begin(const CastWishes& wishes);
    bool AwaitPicture();
    bool HasNews(const CastReader& reader) const REQUIRES(mutex_);
    bool IsGoneFor(const CastReader& reader) const REQUIRES(mutex_);
    void TakePicture(const CastFrame& frame) REQUIRES(mutex_);
    void TakeCursor(const CastCursor& cursor) REQUIRES(mutex_);

    void OnFrame(const CastFrame& frame) override;
    void OnLost() override;

    HWND window_ = nullptr;
    std::string token_;

    mutable Mutex mutex_;
    mutable Condition changed_;
    CastPicture picture_ GUARDED_BY(mutex_);
    SIZE size_ GUARDED_BY(mutex_){};
    unsigned sizes_ GUARDED_BY(mutex_) = 0;
    CastPointer pointer_ GUARDED_BY(mutex_);
    XPointerShape shape_ GUARDED_BY(mutex_);
    unsigned moves_ GUARDED_BY(mutex_) = 0;
    unsigned shapes_ GUARDED_BY(mutex_) = 0;
    bool lost_ GUARDED_BY(mutex_) = false;
    std::vector<CastReader*> readers_ GUARDED_BY(mutex_);

    std::unique_ptr<CastStream> stream_;  // last, so that its thread ends first
};

}  // namespace Vimbrel
