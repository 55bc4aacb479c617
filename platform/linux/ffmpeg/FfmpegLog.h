// What FFmpeg says for which no context of ours answers.
#pragma once

namespace Vimbrel {

// While one lives, FFmpeg's messages on its thread go to the log at trace level and not to stderr:
// opening a file makes contexts that nobody can quieten beforehand. Messages without a context do
// so on every thread. All others, as an application's own, go where they always did, and to the
// application's callback if it installs one.
class FfmpegLogScope {
public:
    FfmpegLogScope();
    ~FfmpegLogScope();
    FfmpegLogScope(const FfmpegLogScope&) = delete;
    FfmpegLogScope& operator=(const FfmpegLogScope&) = delete;
};

}  // namespace Vimbrel
