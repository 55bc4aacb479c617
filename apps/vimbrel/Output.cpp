#include "Output.h"

#include "GifOutput.h"
#include "Mp4Output.h"

namespace studio {

void Output::PushSound(const std::int16_t*, std::size_t, std::int64_t) {}

std::unique_ptr<Output> StartOutput(const OutputDescription& description, const CanvasDescription& canvas, int sound_rate,
                                    std::string& error) {
    switch (description.type) {
        case OutputType::Gif:
            return GifOutput::Start(description, canvas, error);
        case OutputType::Mp4:
            return Mp4Output::Start(description, canvas, sound_rate, error);
    }
    return nullptr;
}

}  // namespace studio
