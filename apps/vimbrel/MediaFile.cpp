#include "MediaFile.h"

#include <objbase.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "PngFile.h"
#include "scene/WideText.h"
#include "vimbrel/DSGetVideoFrame.h"
#include "vimbrel/MediaSourceDS.h"

namespace studio {

namespace {

using Vimbrel::MediaSource;

constexpr std::chrono::seconds patience(10);

// What the waiting thread and the one that makes the picture share.
struct Request {
    std::wstring file;
    double seconds = 0;
    std::once_flag once;
    std::promise<Raster> picture;
};

void TakePicture(unsigned char* pixels, int width, int height, int stride, void* user) {
    auto& request = *static_cast<Request*>(user);
    std::call_once(request.once, [&] {
        Raster raster(width, height);
        for (int y = 0; y < height; ++y) {
            std::memcpy(raster.At(0, y), pixels + static_cast<std::ptrdiff_t>(y) * stride,
                        static_cast<std::size_t>(width) * 4);
        }
        request.picture.set_value(std::move(raster));
    });
}

void RunRequest(const std::shared_ptr<Request>& request) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Vimbrel::DSGetVideoFrame(request->file.c_str(), request->seconds, request.get(), TakePicture);
    CoUninitialize();
    std::call_once(request->once, [&] { request->picture.set_value(Raster()); });
}

nlohmann::json ListOf(const std::vector<Vimbrel::StreamInfo>& streams) {
    nlohmann::json list = nlohmann::json::array();
    for (const Vimbrel::StreamInfo& each : streams)
        list.push_back(
            {{"index", each.index}, {"name", Narrow(each.name)}, {"language", each.language}});
    return list;
}

void PrintStreams(const char* kind, const std::vector<Vimbrel::StreamInfo>& streams) {
    for (const Vimbrel::StreamInfo& each : streams)
        std::printf("%s %d: %s\n", kind, each.index, Narrow(each.name).c_str());
}

void Print(const MediaSource::MEDIA_INFO& info, bool json) {
    if (json) {
        const nlohmann::json document = {{"duration", info.duration / 1000},
                                         {"video", info.hasVideo},
                                         {"width", info.width},
                                         {"height", info.height},
                                         {"fps", info.frameRate},
                                         {"audio", ListOf(info.audioStreams)},
                                         {"subtitles", ListOf(info.subtitleStreams)}};
        std::printf("%s\n", document.dump(2).c_str());
        return;
    }
    std::printf("duration %.3f s\n", info.duration / 1000);
    if (info.hasVideo)
        std::printf("video %dx%d, %g pictures per second\n", info.width, info.height,
                    info.frameRate);
    PrintStreams("audio", info.audioStreams);
    PrintStreams("subtitles", info.subtitleStreams);
}

// Null with `error` set if it does not open.
std::optional<MediaSource::MEDIA_INFO> OpenMedia(const std::filesystem::path& file,
                                                 std::string& error) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    std::optional<MediaSource::MEDIA_INFO> info;
    {
        Vimbrel::MediaSourceDS source;
        source.SetFileName(Widen(file).c_str(), true);
        bool opened = source.Open();
        if (!opened) {
            // Sound alone opens only with an output.
            source.SetAudioRenderDevice(L"Default DirectSound Device");
            opened = source.Open();
        }
        if (opened) info = source.GetMediaInfo();
    }
    CoUninitialize();
    if (!info) error = file.string() + ": is not a media file that can be played";
    return info;
}

}  // namespace

bool WriteThumbnail(const std::filesystem::path& file, double seconds,
                    const std::filesystem::path& out, std::string& error) {
    const auto request = std::make_shared<Request>();
    request->file = Widen(file);
    request->seconds = seconds;
    std::future<Raster> result = request->picture.get_future();
    std::thread thread([request] { RunRequest(request); });
    if (result.wait_for(patience) != std::future_status::ready) {
        // The file brings no picture and nothing ends the wait for it.
        std::fprintf(stderr, "vimbrel: %s: no picture comes\n", file.c_str());
        std::fflush(nullptr);
        std::_Exit(1);
    }
    const Raster picture = result.get();
    if (picture.width == 0) {
        error = file.string() + ": there is no picture in it";
    } else if (!WritePng(picture, out)) {
        error = out.string() + ": cannot be written";
    }
    // The graph has been taken down meanwhile.
    thread.join();
    return error.empty();
}

bool PrintMediaInfo(const std::filesystem::path& file, bool json, std::string& error) {
    const auto info = OpenMedia(file, error);
    if (info) Print(*info, json);
    return info.has_value();
}

bool CanPlayMedia(const std::filesystem::path& file, std::string& error) {
    return OpenMedia(file, error).has_value();
}

}  // namespace studio
