#include "outputs/Output.h"

#include <cstdio>

#include "outputs/GifOutput.h"
#include "outputs/Mp4Output.h"
#include "outputs/RtmpOutput.h"

namespace studio {

void Output::PushSound(const std::int16_t*, std::size_t, std::int64_t) {}

std::string Output::State() const { return SizeText(Status().bytes); }

std::string SizeText(std::uint64_t bytes) {
    char text[32];
    if (bytes < 10'000) {
        std::snprintf(text, sizeof text, "%u B", static_cast<unsigned>(bytes));
    } else if (bytes < 1'000'000) {
        std::snprintf(text, sizeof text, "%u kB", static_cast<unsigned>(bytes / 1000));
    } else {
        std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1e6);
    }
    return text;
}

std::string FileSummary(const std::filesystem::path& file, const OutputStatus& status,
                        std::uint64_t skipped) {
    return "wrote " + file.string() + ": " + std::to_string(status.written) + " frames, " +
           std::to_string(status.dropped + skipped) + " dropped, " + SizeText(status.bytes);
}

std::string OddCanvas(const OutputDescription& description, const CanvasDescription& canvas) {
    if (description.type == OutputType::Gif || (canvas.width % 2 == 0 && canvas.height % 2 == 0))
        return {};
    const auto size = [](int width, int height) {
        return std::to_string(width) + "x" + std::to_string(height);
    };
    const std::string what = description.type == OutputType::Mp4 ? "an MP4" : "a stream";
    return description.place + ": " + what + " needs a canvas of even width and height: not " +
           size(canvas.width, canvas.height) + ", but " +
           size(canvas.width + canvas.width % 2, canvas.height + canvas.height % 2) + " would do";
}

std::unique_ptr<Output> StartOutput(const OutputDescription& description,
                                    const CanvasDescription& canvas, int sound_rate,
                                    OutputFailure& failure) {
    failure.error = OddCanvas(description, canvas);
    if (!failure.error.empty()) return nullptr;
    switch (description.type) {
        case OutputType::Gif:
            return GifOutput::Start(description, canvas, failure.error);
        case OutputType::Mp4:
            return Mp4Output::Start(description, canvas, sound_rate, failure.error);
        case OutputType::Rtmp:
            return RtmpOutput::Start(description, canvas, sound_rate, failure);
    }
    return nullptr;
}

}  // namespace studio
