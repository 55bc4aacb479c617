#include "layers/CameraLayer.h"

#include <objbase.h>

#include <chrono>
#include <cstdio>

#include "scene/WideText.h"

namespace studio {

namespace {

using Vimbrel::MediaSource;

constexpr DWORD camera_look_ms = 50;
constexpr std::chrono::seconds between_attempts(1);

}  // namespace

CameraLayer::CameraLayer(const LayerDescription& layer, const CameraDescription& content)
    : SourceLayer(layer, content.fit),
      place(layer.place),
      description(content),
      choice{content.device, {}} {}

CameraLayer::~CameraLayer() {
    thread.request_stop();
    if (thread.joinable()) thread.join();
}

std::unique_ptr<Layer> CameraLayer::Open(const LayerDescription& layer,
                                         const CameraDescription& content, std::string& error) {
    std::unique_ptr<CameraLayer> opened(new CameraLayer(layer, content));
    std::promise<std::string> promise;
    std::future<std::string> result = promise.get_future();
    opened->thread = std::jthread(
        [raw = opened.get(), &promise](const std::stop_token& stop) { raw->Run(stop, promise); });
    const std::string wrong = result.get();
    if (wrong.empty()) return opened;
    error = layer.place + ": " + wrong;
    return nullptr;
}

std::string CameraLayer::OpenCamera() {
    std::string wrong;
    camera = FindCamera(choice, description.format, wrong);
    if (!camera) return wrong;
    camera->SetDispatcher(this);
    if (!camera->Open() || !camera->Play()) {
        CloseCamera();
        return "the camera does not open; the log says why";
    }
    choice = {Narrow(camera->GetFriendlyName()), Narrow(camera->GetDevicePath())};
    if (description.format.find('@') != std::string::npos && !HasChosenRate(*camera)) {
        std::fprintf(
            stderr,
            "vimbrel: %s: the camera delivers %g pictures per second, not those of \"%s\"\n",
            place.c_str(), camera->GetMediaInfo().frameRate, description.format.c_str());
    }
    return {};
}

void CameraLayer::CloseCamera() {
    if (camera) camera->Close();
    camera.reset();
}

void CameraLayer::Run(const std::stop_token& stop, std::promise<std::string>& opened) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const std::string wrong = OpenCamera();
    // From here on the promise may be gone.
    opened.set_value(wrong);
    auto looked = std::chrono::steady_clock::now();
    while (wrong.empty() && !stop.stop_requested()) {
        DispatchMessages(camera_look_ms);
        if (camera && camera->GetState() == MediaSource::State::Stopped) {
            std::fprintf(stderr,
                         "vimbrel: %s: the camera is gone; the last picture stays until it is "
                         "back\n",
                         place.c_str());
            CloseCamera();
        }
        const auto now = std::chrono::steady_clock::now();
        if (camera || now - looked < between_attempts) continue;
        looked = now;
        if (OpenCamera().empty())
            std::fprintf(stderr, "vimbrel: %s: the camera is back\n", place.c_str());
    }
    CloseCamera();
    CoUninitialize();
}

}  // namespace studio
