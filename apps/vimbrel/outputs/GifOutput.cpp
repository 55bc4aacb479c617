#include "outputs/GifOutput.h"

#include "outputs/RecorderWait.h"
#include "scene/WideText.h"

namespace studio {

GifOutput::GifOutput(const OutputDescription& description)
    : file(description.file), recorder(Vimbrel::CreateMediaTranscodeGIF()) {}

GifOutput::~GifOutput() {
    // The recorder must be through with the file before the file goes.
    recorder->Stop();
    recorder->Cleanup();
}

std::unique_ptr<Output> GifOutput::Start(const OutputDescription& description,
                                         const CanvasDescription& canvas, std::string& error) {
    std::unique_ptr<GifOutput> output(new GifOutput(description));
    std::string what;
    if (!output->file.Create(what)) {
        error = description.place + ".file: " + what;
        return nullptr;
    }
    output->recorder->SetVideoOutputFormat(canvas.width, canvas.height);
    output->recorder->SetVideoFps(canvas.fps, 1);
    output->recorder->SetVideoQuality(description.quality);
    // Only the name is of interest: this recorder prepares nothing here.
    output->recorder->Create(Widen(output->file.PartName()));
    if (!output->recorder->Start()) {
        error = description.place + ": the GIF recorder cannot be started";
        return nullptr;
    }
    return output;
}

void GifOutput::Push(const Raster& canvas, std::int64_t time) {
    ++pushed;
    recorder->SetVideoSample(
        const_cast<std::uint8_t*>(canvas.pixels.data()), static_cast<unsigned>(canvas.width),
        static_cast<unsigned>(canvas.height), static_cast<unsigned>(canvas.Stride()), time, 0);
}

bool GifOutput::Finish(std::string& error) {
    WaitForRecorder(*recorder);
    recorder->Stop();
    recorder->Cleanup();
    if (Status().written == 0) {
        error = pushed == 0 ? File().string() + ": there was no frame to write"
                            : File().string() + ": none of the " + std::to_string(pushed) +
                                  " frames could be written";
        return false;
    }
    if (Vimbrel::GetTranscodeStatistics(*recorder).failed) {
        error = File().string() + ": could not be written to its end; is the disk full?";
        return false;
    }
    return file.Keep(error);
}

OutputStatus GifOutput::Status() const {
    const auto statistics = Vimbrel::GetTranscodeStatistics(*recorder);
    return {pushed, statistics.videoWritten, statistics.videoDropped + statistics.videoLimited,
            file.Size()};
}

}  // namespace studio
