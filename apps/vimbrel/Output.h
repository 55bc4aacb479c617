// One file (later: or stream) that the studio writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "Raster.h"
#include "Scene.h"

namespace studio {

struct OutputStatus {
    std::uint64_t pushed = 0;   // frames handed over
    std::uint64_t written = 0;  // of them, those in the file
    std::uint64_t dropped = 0;  // of them, those lost
    std::uint64_t bytes = 0;    // size of the file so far
};

class Output {
public:
    virtual ~Output() = default;

    // `time` in 100 nanoseconds since the start. The canvas is copied; the call does not wait for the encoder.
    virtual void Push(const Raster& canvas, std::int64_t time) = 0;
    // `count` frames of sound in the format that the output was started with, by the same clock. Outputs without sound ignore it.
    virtual void PushSound(const std::int16_t* frames, std::size_t count, std::int64_t time);
    // Waits until what was pushed is written (not for ever) and ends the file. False with `error` set if there is no good and whole file.
    virtual bool Finish(std::string& error) = 0;
    virtual OutputStatus Status() const = 0;
    virtual const std::filesystem::path& File() const = 0;

protected:
    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
};

// Starts an output. `sound_rate` in frames a second, 0 for none. Null with `error` set to "place: what is wrong"; a file of that name from
// before then stands as it was.
std::unique_ptr<Output> StartOutput(const OutputDescription& description, const CanvasDescription& canvas, int sound_rate,
                                    std::string& error);

}  // namespace studio
