// A stream that plays on a sink of the sound server, as far ahead as its buffer is long.
#pragma once

#include <mmreg.h>
#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Vimbrel {

class PulseConnection;

// One thread writes; others may start, stop, flush and interrupt meanwhile. Nothing but Write waits
// for the server's clock, and nothing waits for more than three seconds on a server that is gone.
class PlaybackStream {
public:
    // Stopped at first. The stream stays with `sink`; an empty name is the server's default.
    static HRESULT Open(std::shared_ptr<PulseConnection> connection, const std::string& sink,
                        const WAVEFORMATEX& format, std::unique_ptr<PlaybackStream>& stream);
    virtual ~PlaybackStream() = default;

    virtual HRESULT Start() = 0;
    // Keeps what is written and not yet played.
    virtual HRESULT Stop() = 0;
    // Drops it.
    virtual HRESULT Flush() = 0;
    virtual HRESULT SetRate(std::uint32_t frames_per_second) = 0;

    // Waits for room. S_FALSE when it was interrupted. While the stream is started, ERROR_TIMEOUT's
    // result code when there was none for three seconds: the sink is suspended or the server hangs.
    virtual HRESULT Write(const void* data, std::size_t bytes) = 0;
    // Ends writing, until that is taken back.
    virtual void Interrupt(bool on) = 0;
    // How long after this moment what is written next is heard, in units of 100 nanoseconds. Below
    // 0 for what the server would leave out, because it has played beyond it. S_FALSE while the
    // server has not reported it yet.
    virtual HRESULT Latency(LONGLONG& latency) = 0;
};

}  // namespace Vimbrel
