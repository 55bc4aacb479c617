// vimbrel: composes a scene and writes it.
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "CommandLine.h"
#include "CommandText.h"
#include "MediaFile.h"
#include "SceneCheck.h"
#include "devices/DeviceList.h"
#include "layers/Desktop.h"
#include "preview/Preview.h"

namespace {

using studio::CommandLine;
using studio::Scene;

int Complain(const std::string& error) {
    std::fprintf(stderr, "vimbrel: %s\n", error.c_str());
    return studio::exit_bad_input;
}

// The outputs that the command line names, by an option or as the file of a recording. False with
// `error` set if one of them is wrong.
bool AddOutputs(const CommandLine& line, Scene& scene, std::string& error) {
    const char* const place = line.Is("record") ? "FILE" : "--out";
    for (const std::string& name : line.outputs) {
        const auto output = studio::OutputFromFileName(name, place, error);
        if (!output) return false;
        scene.outputs.push_back(*output);
    }
    if (!line.streams) return true;
    const auto output = studio::OutputFromUrl(line.stream, error);
    if (output) scene.outputs.push_back(*output);
    return output.has_value();
}

int Run(const CommandLine& line, studio::Log& log) {
    std::string error;
    auto scene = studio::ReadScene(std::filesystem::path(line.scene), error);
    if (!scene || !AddOutputs(line, *scene, error)) return Complain(error);
    if (scene->outputs.empty()) {
        return Complain(
            line.scene +
            ": there is no output; name one in \"outputs\" or with --out FILE or --url URL");
    }
    if (studio::OutputsCollide(scene->outputs, error)) return Complain(line.scene + ": " + error);
    if (line.dry_run) return studio::CheckScene(*scene, line.scene);
    if (studio::ShowsDesktop(*scene)) log.ExpectStillScreens();
    return studio::RunScene(*scene, line.scene, line.settings);
}

// Without a scene document: the screen into one output.
int RunScreen(CommandLine& line, studio::Log& log) {
    std::string error;
    log.ExpectStillScreens();
    if (line.Is("record"))
        line.outputs.push_back(line.file.empty() ? studio::DatedFileName() : line.file);
    Scene named;
    if (!AddOutputs(line, named, error)) return Complain(error);
    // A GIF has no sound.
    if (named.outputs.front().type == studio::OutputType::Gif) line.screen.sound = false;
    studio::ScreenPermission permission;
    auto scene = studio::MakeScreenScene(line.screen, permission, error);
    if (!scene) return Complain(error);
    scene->outputs = named.outputs;
    for (studio::OutputDescription& output : scene->outputs) output.quality = line.quality;
    return studio::RunScene(*scene, line.Is("record") ? "record" : "stream", line.settings);
}

int ListDesktop(bool screens) {
    if (screens ? studio::PrintScreens() : studio::PrintWindows()) return studio::exit_done;
    return Complain(studio::IsPermissionNeeded()
                        ? "on Wayland the desktop lists screens and windows only when it asks "
                          "which one to show"
                        : studio::no_screen);
}

int RunCommand(int argc, char** argv) {
    CommandLine line;
    int code = 0;
    if (!line.Parse(argc, argv, code)) return code;
    if (line.Is("man") || line.Is("completion")) {
        const std::string text = line.Is("man") ? studio::ManPage(line.Options())
                                                : studio::BashCompletion(line.Options());
        std::fputs(text.c_str(), stdout);
        return studio::exit_done;
    }
    std::string error;
    studio::Log log;
    if (!log.Start(line.log, error)) return Complain(error);
    if (line.Is("run")) return Run(line, log);
    if (line.Is("record") || line.Is("stream")) return RunScreen(line, log);
    if (line.Is("screens") || line.Is("windows")) return ListDesktop(line.Is("screens"));
    if (line.Is("devices")) {
        studio::PrintDevices(line.json);
        return studio::exit_done;
    }
    const bool done = line.Is("thumbnail")
                          ? studio::WriteThumbnail(line.media_file, line.thumbnail_time,
                                                   line.thumbnail_file, error)
                          : studio::PrintMediaInfo(line.media_file, line.json, error);
    return done ? studio::exit_done : Complain(error);
}

}  // namespace

int main(int argc, char** argv) {
    // Frames of megabytes go from thread to thread, and each thread's own arena would keep some.
    mallopt(M_ARENA_MAX, 2);
    const int code = RunCommand(argc, argv);
    if (!studio::Preview::IsThreadLeft()) return code;
    std::fflush(nullptr);
    std::_Exit(code);
}
