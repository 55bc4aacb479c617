// A live stream as output.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "outputs/Output.h"
#include "vimbrel/ReconnectingCast.h"

namespace studio {

// A lost link is made anew as often as the description says, or ends this output; the run goes on
// with the others.
class RtmpOutput final : public Output {
public:
    static std::unique_ptr<Output> Start(const OutputDescription& description,
                                         const CanvasDescription& canvas, int sound_rate,
                                         OutputFailure& failure);
    ~RtmpOutput() override;

    void Push(const Raster& canvas, std::int64_t time) override;
    void PushSound(const std::int16_t* frames, std::size_t count, std::int64_t time) override;
    bool Finish(std::string& error) override;
    ExitCode FailureCode() const override { return exit_no_connection; }
    OutputStatus Status() const override;
    std::string ShortName() const override { return "rtmp"; }
    std::string State() const override;
    std::string Summary(std::uint64_t skipped) const override;

private:
    RtmpOutput(const OutputDescription& description, const CanvasDescription& canvas,
               int rate_of_sound);
    void WaitUntilSent() const;
    std::string Returns() const;

    const std::string target;  // without the key, which gives access like a password
    const int sound_rate;
    std::atomic<bool> lost{false};  // for good
    std::atomic<bool> away{false};
    std::atomic<int> returns{0};
    std::uint64_t pushed = 0;
    int average_rate = 0;  // of the whole cast, which a stopped one does not tell any more
    const std::shared_ptr<Vimbrel::RTMPCastProgress> progress =
        std::make_shared<Vimbrel::RTMPCastProgress>();
    std::vector<std::int16_t> sound;  // less than a block
    std::unique_ptr<Vimbrel::CMediaRTMPCast> cast;
};

// Returns the URL up to its last path element, without the part that may be a password.
std::string PublicUrl(const std::string& url);

}  // namespace studio
