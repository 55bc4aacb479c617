// A stream that records a source of the sound server, with the time of each of its frames.
#pragma once

#include <mmreg.h>
#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Vimbrel {

class PulseConnection;

// One thread takes packets; others may start and stop the stream meanwhile. No operation waits for
// more than three seconds, Stop and the destructor for less than one, and none waits for sound.
class RecordStream {
public:
    struct Packet {
        const BYTE* data;      // valid until Drop
        std::uint32_t frames;  // 0 if no packet waits
        // When the first frame and the end of the last one were recorded: the counter of
        // QueryPerformanceCounter, in units of 100 ns.
        LONGLONG start;
        LONGLONG end;
    };

    // The server converts to `format`. The stream stays with `source` until its end: it fails with
    // AUDCLNT_E_DEVICE_INVALIDATED rather than go on with another one.
    static HRESULT Open(std::shared_ptr<PulseConnection> connection, const std::string& source,
                        const WAVEFORMATEX& format, std::unique_ptr<RecordStream>& stream);
    virtual ~RecordStream() = default;

    virtual HRESULT Start() = 0;
    // S_FALSE if it does not run. Drops what waits. The stream is stopped after a failure as well.
    virtual HRESULT Stop() = 0;
    // The oldest packet. The same one again until Drop. What was recorded before a failure comes
    // before the failure.
    virtual HRESULT Peek(Packet& packet) = 0;
    // Gives the packet back; nothing happens without one.
    virtual HRESULT Drop() = 0;
    // Frames that wait.
    virtual HRESULT Waiting(std::uint32_t& frames) = 0;
    // Of this recording, from 0 to 1 on the scale that users see.
    virtual HRESULT SetVolume(double level) = 0;
    // What is kept for a reader that does not come; what is recorded then is lost.
    virtual std::uint32_t BufferFrames() const = 0;
};

}  // namespace Vimbrel
