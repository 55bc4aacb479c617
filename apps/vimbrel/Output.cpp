#include "Output.h"

#include "GifOutput.h"

namespace studio {

std::unique_ptr<Output> StartOutput(const OutputDescription& description, const CanvasDescription& canvas, std::string& error) {
    switch (description.type) {
        case OutputType::Gif:
            return GifOutput::Start(description, canvas, error);
    }
    return nullptr;
}

}  // namespace studio
