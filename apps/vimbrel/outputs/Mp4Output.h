// An MP4 file as output.
#pragma once

#include "outputs/Output.h"
#include "vimbrel/MediaTranscode.h"

namespace studio {

// The file has its own name from the beginning and can be played at any time: what was written when
// the run is killed is not lost.
class Mp4Output final : public Output {
public:
    static std::unique_ptr<Output> Start(const OutputDescription& description,
                                         const CanvasDescription& canvas, int sound_rate,
                                         std::string& error);
    ~Mp4Output() override;

    void Push(const Raster& canvas, std::int64_t time) override;
    void PushSound(const std::int16_t* frames, std::size_t count, std::int64_t time) override;
    bool Finish(std::string& error) override;
    OutputStatus Status() const override;
    std::string ShortName() const override { return File().filename().string(); }
    std::string Summary(std::uint64_t skipped) const override {
        return FileSummary(File(), Status(), skipped);
    }

private:
    const std::filesystem::path& File() const { return file; }
    Mp4Output(const OutputDescription& description, const CanvasDescription& canvas,
              int rate_of_sound);

    const std::filesystem::path file;
    const int fps;
    const int sound_rate;
    const std::uint64_t waiting_limit;  // frames
    std::unique_ptr<Vimbrel::MediaTranscode> recorder;
    std::uint64_t pushed = 0;
    std::uint64_t refused = 0;  // the encoder is too slow
};

}  // namespace studio
