// A video capture device as a source.
#pragma once

#include <objbase.h>

#include <windef.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vimbrel/MediaSource.h"

namespace Vimbrel {

// MediaSourceEnumerator lists prototypes; CreateDevice makes what opens. Pictures come from Play
// on, on a thread of the graph, as they arrive from the device and without a clock; OnVideoSample
// must not control the source, nor wait for a thread that does, because Pause, Stop and Close wait
// for it.
//
// Control operations run on one thread, which dispatches its messages (winuser.h): it gets the
// changes of state that the device causes. A device that is unplugged brings the source to Stopped;
// its graph stays until Close.
class VIMBREL_API MediaSourceCamera : public MediaSource {
public:
    struct Format {
        GUID subtype;
        std::int32_t width;      // pixels
        std::int32_t height;     // pixels
        std::int32_t frameTime;  // whole milliseconds
        wchar_t label[256];      // for a list box
    };

    MediaSourceCamera();
    // Closes.
    ~MediaSourceCamera() override;

    // A new camera of the same device, formats and choice. The caller owns it.
    MediaSourceCamera* CreateDevice();
    // Takes over the caller's reference, which Close and the destructor release. One that was set
    // before is not released. No reference is added by GetMoniker.
    void SetMoniker(IMoniker* newMoniker) { moniker = newMoniker; }
    IMoniker* GetMoniker() { return moniker; }
    // Null empties the text.
    void SetFriendlyName(const wchar_t* name);
    const std::wstring& GetFriendlyName() const { return friendlyName; }
    void SetDevicePath(const wchar_t* path);
    const std::wstring& GetDevicePath() const { return devicePath; }
    std::vector<Format>& GetOutputFormats() { return outputFormats; }
    const std::vector<Format>& GetOutputFormats() const { return outputFormats; }
    // An index into the formats, read by the next Open; with any other number the device keeps its
    // current format. The frame time of a format is not used: the device's first format of that
    // kind and size is set.
    int GetOutputFormat() const { return outputFormat; }
    void SetOutputFormat(int index) { outputFormat = index; }
    // Whether the device has dialogs of its own. False without a device.
    bool HasPropertyPages();
    // Returns when the dialog is closed. Nothing happens without one.
    void ShowPropertyPages(HWND parent);

    SourceType GetSourceType() override { return SourceType::Camera; }
    // Releases the moniker: a closed camera does not open again without a new one.
    void Close() override;
    bool Open() override;
    bool Play() override;
    bool Pause() override;
    void Stop() override;

private:
    IMoniker* moniker = nullptr;  // owned
    std::wstring friendlyName;
    std::wstring devicePath;
    std::vector<Format> outputFormats;
    std::int32_t outputFormat = 0;
};

}  // namespace Vimbrel
