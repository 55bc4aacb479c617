// vimbrel: composes a scene and writes it.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Log.h"
#include "MediaFile.h"
#include "Studio.h"
#include "devices/DeviceList.h"
#include "layers/Desktop.h"
#include "layers/ScreenPermission.h"
#include "scene/Scene.h"

namespace {

int Complain(const std::string& error) {
    std::fprintf(stderr, "vimbrel: %s\n", error.c_str());
    return studio::exit_bad_input;
}

struct RunOptions {
    std::string scene;
    double seconds = 0;
    std::vector<std::string> outputs;
    std::optional<std::string> url;
    std::string user;
    std::string password_file;
};

std::string CheckSeconds(const std::string& text) {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    constexpr double most = 1e9;
    return *end == '\0' && seconds > 0 && seconds <= most
               ? std::string()
               : "must be a number above 0 and up to 1e9, not \"" + text + "\"";
}

int Run(const RunOptions& options, studio::Log& log) {
    std::string error;
    auto scene = studio::ReadScene(std::filesystem::path(options.scene), error);
    if (!scene) return Complain(error);
    for (const std::string& name : options.outputs) {
        const auto output = studio::OutputFromFileName(name, error);
        if (!output) return Complain(error);
        scene->outputs.push_back(*output);
    }
    if (options.url) {
        const auto output =
            studio::OutputFromUrl(*options.url, options.user, options.password_file, error);
        if (!output) return Complain(error);
        scene->outputs.push_back(*output);
    }
    if (scene->outputs.empty()) {
        return Complain(
            options.scene +
            ": there is no output; name one in \"outputs\" or with --out FILE or --url URL");
    }
    if (studio::OutputsCollide(scene->outputs, error))
        return Complain(options.scene + ": " + error);
    if (studio::ShowsDesktop(*scene)) log.ExpectStillScreens();
    return studio::RunScene(*scene, options.scene, options.seconds);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Composes a live picture from pictures, GIFs, text, colours, screens, windows and cameras, "
        "and records it.",
        "vimbrel");
    app.set_version_flag("--version", "vimbrel " VIMBREL_VERSION);
    app.require_subcommand(1);
    // Options for all commands may follow the command as well.
    app.fallthrough();
    studio::LogOptions log_options;
    app.add_option("--log-config", log_options.config_file,
                   "A log configuration file; without it warnings go to the terminal");
    app.add_option("--log-level", log_options.level,
                   "The lowest level to log: trace, debug, info, warn, error, alarm or fatal");

    RunOptions options;
    CLI::App* run = app.add_subcommand(
        "run", "Run a scene by the clock until --seconds have passed, or q or Ctrl-C is pressed");
    run->add_option("SCENE", options.scene, "The scene, a JSON document")->required();
    run->add_option("--seconds", options.seconds, "How long to run; without it until Ctrl-C")
        ->check(CheckSeconds);
    run->add_option("--out", options.outputs,
                    "A further output; its ending says what to write (.gif or .mp4). May be given "
                    "several times")
        ->allow_extra_args(false);
    const CLI::App* screens =
        app.add_subcommand("screens", "List the outputs of the screen, for \"region\"");
    const CLI::App* windows = app.add_subcommand(
        "windows", "List the windows with their numbers, sizes, classes and titles");
    std::string media_file;
    std::string thumbnail_file;
    double thumbnail_time = 0;
    bool media_json = false;
    CLI::App* thumbnail = app.add_subcommand("thumbnail", "Write one picture of a media file");
    thumbnail->add_option("FILE", media_file, "The media file")->required();
    thumbnail->add_option("--at", thumbnail_time, "The time of the picture, in seconds");
    thumbnail->add_option("OUT", thumbnail_file, "The picture, a PNG")->required();
    CLI::App* info = app.add_subcommand("info", "Tell what a media file holds");
    info->add_option("FILE", media_file, "The media file")->required();
    info->add_flag("--json", media_json, "As a JSON document");
    bool json = false;
    CLI::App* devices = app.add_subcommand(
        "devices", "List cameras with their formats, microphones and sound outputs");
    devices->add_flag("--json", json, "As a JSON document");
    CLI::Option* url = run->add_option(
        "--url", options.url, "Cast to this RTMP server as well: rtmp://HOST/APPLICATION/KEY");
    run->add_option("--user", options.user, "The publisher's name at that server")->needs(url);
    run->add_option("--password-file", options.password_file,
                    "A file with the publisher's password as its first line")
        ->needs(url)
        ->check(CLI::ExistingFile);
    app.footer(
        "Exit codes: 0 done, 1 an output failed, 2 the arguments or the scene are wrong, 3 a "
        "stream found no server or lost it, 4 its "
        "server did not take it.");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? studio::exit_done : studio::exit_bad_input;
    }
    std::string error;
    studio::Log log;
    if (!log.Start(log_options, error)) return Complain(error);
    if (thumbnail->parsed() || info->parsed()) {
        const bool done =
            thumbnail->parsed()
                ? studio::WriteThumbnail(media_file, thumbnail_time, thumbnail_file, error)
                : studio::PrintMediaInfo(media_file, media_json, error);
        return done ? studio::exit_done : Complain(error);
    }
    if (devices->parsed()) {
        studio::PrintDevices(json);
        return studio::exit_done;
    }
    if (screens->parsed() || windows->parsed()) {
        if (screens->parsed() ? studio::PrintScreens() : studio::PrintWindows())
            return studio::exit_done;
        return Complain(studio::IsPermissionNeeded()
                            ? "on Wayland the desktop lists screens and windows only when it asks "
                              "which one to show"
                            : "there is no screen: DISPLAY names no X server that answers");
    }
    return Run(options, log);
}
