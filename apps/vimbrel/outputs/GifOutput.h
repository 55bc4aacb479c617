// An animated GIF as output.
#pragma once

#include "outputs/Output.h"
#include "outputs/PartFile.h"
#include "vimbrel/MediaTranscode.h"

namespace studio {

class GifOutput final : public Output {
public:
    static std::unique_ptr<Output> Start(const OutputDescription& description,
                                         const CanvasDescription& canvas, std::string& error);
    ~GifOutput() override;

    void Push(const Raster& canvas, std::int64_t time) override;
    bool Finish(std::string& error) override;
    OutputStatus Status() const override;
    std::string ShortName() const override { return File().filename().string(); }
    std::string Summary(std::uint64_t skipped) const override {
        return FileSummary(File(), Status(), skipped);
    }

private:
    const std::filesystem::path& File() const { return file.Name(); }
    explicit GifOutput(const OutputDescription& description);

    PartFile file;
    std::unique_ptr<Vimbrel::MediaTranscode> recorder;
    std::uint64_t pushed = 0;
};

}  // namespace studio
