// One file or stream that the studio writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "Studio.h"
#include "scene/Raster.h"
#include "scene/Scene.h"

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

    // `time` in 100 nanoseconds since the start. The canvas is copied; the call does not wait for
    // the encoder.
    virtual void Push(const Raster& canvas, std::int64_t time) = 0;
    // `count` frames of sound in the format that the output was started with, by the same clock.
    // Outputs without sound ignore it.
    virtual void PushSound(const std::int16_t* frames, std::size_t count, std::int64_t time);
    // Waits until what was pushed is written (not for ever) and ends the file. False with `error`
    // set if there is no good and whole file.
    virtual bool Finish(std::string& error) = 0;
    // What the program then returns.
    virtual ExitCode FailureCode() const { return exit_output_failed; }
    virtual OutputStatus Status() const = 0;
    // For the progress line: a short name, and how far it is.
    virtual std::string ShortName() const = 0;
    virtual std::string State() const;
    // For the end: "wrote out.gif: 60 frames, 0 dropped, 1.2 MB". `skipped` are the run's own.
    virtual std::string Summary(std::uint64_t skipped) const = 0;

protected:
    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
};

// "wrote FILE: …" of an output that is a file.
std::string FileSummary(const std::filesystem::path& file, const OutputStatus& status,
                        std::uint64_t skipped);

// "12345 B", "1.2 MB".
std::string SizeText(std::uint64_t bytes);

// What is wrong with a canvas of that size for that output; empty if nothing is.
std::string OddCanvas(const OutputDescription& description, const CanvasDescription& canvas);

struct OutputFailure {
    std::string error;  // "place: what is wrong"
    ExitCode code = exit_bad_input;
};

// Starts an output. `sound_rate` in frames a second, 0 for none. Null with `failure` set; a file of
// that name from before then stands as it was.
std::unique_ptr<Output> StartOutput(const OutputDescription& description,
                                    const CanvasDescription& canvas, int sound_rate,
                                    OutputFailure& failure);

}  // namespace studio
