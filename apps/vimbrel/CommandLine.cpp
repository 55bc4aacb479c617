#include "CommandLine.h"

#include <cstdlib>

namespace studio {

namespace {

std::string CheckSeconds(const std::string& text) {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    constexpr double most = 1e9;
    return *end == '\0' && seconds > 0 && seconds <= most
               ? std::string()
               : "must be a number above 0 and up to 1e9, not \"" + text + "\"";
}

constexpr int usual_attempts = 25;

}  // namespace

CommandLine::CommandLine()
    : app("Composes a live picture from pictures, GIFs, text, colours, screens, windows, cameras "
          "and media files, and records or streams it.",
          "vimbrel") {
    app.set_version_flag("--version", "vimbrel " VIMBREL_VERSION);
    app.require_subcommand(1);
    // Options for all commands may follow the command as well.
    app.fallthrough();
    app.add_option("--log-config", log.config_file,
                   "A log configuration file; without it warnings go to the terminal");
    app.add_option("--log-level", log.level,
                   "The lowest level to log: trace, debug, info, warn, error, alarm or fatal");
    AddRun();
    AddRecord();
    AddStream();
    AddLists();
    AddMediaFile();
    AddTexts();
    app.footer(
        "Exit codes: 0 done, 1 an output failed, 2 the arguments or the scene are wrong, 3 a "
        "stream found no server or lost it, 4 its "
        "server did not take it.");
}

bool CommandLine::Parse(int argc, char** argv, int& code) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        code = app.exit(error) == 0 ? exit_done : exit_bad_input;
        return false;
    }
    for (const CLI::App* command : app.get_subcommands()) {
        const CLI::Option* const url = command->get_option_no_throw("--url");
        streams = url && url->count() > 0;
    }
    settings.json = progress == "json";
    screen.sound = !silent;
    return true;
}

void CommandLine::AddTime(CLI::App* command) {
    command
        ->add_option("--seconds", settings.seconds,
                     "How long to run; without it until q or Ctrl-C is pressed")
        ->check(CheckSeconds);
    command->add_option("--progress", progress, "text, or json for a document per line")
        ->check(CLI::IsMember({"text", "json"}));
    command->add_flag("--preview", settings.preview,
                      "Show the picture and the sound's levels in a window");
}

CLI::Option* CommandLine::AddServer(CLI::App* command) {
    CLI::Option* const url =
        command->add_option("--url", stream.url, "The RTMP server: rtmp://HOST/APPLICATION/KEY");
    command->add_option("--user", stream.user, "The publisher's name at that server")->needs(url);
    command
        ->add_option("--password-file", stream.password_file,
                     "A file with the publisher's password as its first line")
        ->needs(url)
        ->check(CLI::ExistingFile);
    command
        ->add_option("--reconnect", stream.reconnect,
                     "How many attempts in a row to make after the link was lost")
        ->needs(url)
        ->check(CLI::Range(0, most_attempts));
    return url;
}

void CommandLine::AddScreen(CLI::App* command) {
    CLI::Option* const window = command->add_option(
        "--window", screen.window, "Only the window of this title, or of a title with this in it");
    command
        ->add_option("--region", screen.region,
                     "Only this part of the desktop, as X,Y,WIDTH,HEIGHT")
        ->excludes(window);
    command->add_option("--fps", screen.fps, "Frames per second")
        ->check(CLI::Range(1, 120))
        ->capture_default_str();
    command->add_option("--quality", quality, "0, 1 or 2, which is best")
        ->check(CLI::Range(0, 2))
        ->capture_default_str();
    command->add_flag("--no-sound", silent, "Without the system's sound and the microphone");
    AddTime(command);
}

void CommandLine::AddRun() {
    CLI::App* const run =
        app.add_subcommand("run", "Run a scene by the clock and write its outputs");
    run->add_option("SCENE", scene, "The scene, a JSON document")->required();
    AddTime(run);
    run->add_option("--out", outputs,
                    "A further output; its ending says what to write (.gif or .mp4). May be given "
                    "several times")
        ->allow_extra_args(false);
    AddServer(run)->description("Cast to this RTMP server as well: rtmp://HOST/APPLICATION/KEY");
    run->add_flag("--dry-run", dry_run, "Check the scene, and print what would be opened");
}

void CommandLine::AddRecord() {
    CLI::App* const record = app.add_subcommand(
        "record", "Record the screen with the system's sound and the microphone");
    record->add_option("FILE", file, "The MP4 or GIF; without it an MP4 named by the date");
    AddScreen(record);
}

void CommandLine::AddStream() {
    CLI::App* const command = app.add_subcommand(
        "stream", "Stream the screen with the system's sound and the microphone to a server");
    AddServer(command)->required();
    AddScreen(command);
    command->parse_complete_callback([this, command] {
        // Nothing else would be left of this run.
        if (command->count("--reconnect") == 0) stream.reconnect = usual_attempts;
    });
}

void CommandLine::AddLists() {
    app.add_subcommand("screens", "List the outputs of the screen, for \"region\"");
    app.add_subcommand("windows", "List the windows with their numbers, sizes, classes and titles");
    app.add_subcommand("devices", "List cameras with their formats, microphones and sound outputs")
        ->add_flag("--json", json, "As a JSON document");
}

void CommandLine::AddMediaFile() {
    CLI::App* const thumbnail =
        app.add_subcommand("thumbnail", "Write one picture of a media file");
    thumbnail->add_option("FILE", media_file, "The media file")->required();
    thumbnail->add_option("--at", thumbnail_time, "The time of the picture, in seconds");
    thumbnail->add_option("OUT", thumbnail_file, "The picture, a PNG")->required();
    CLI::App* const info = app.add_subcommand("info", "Tell what a media file holds");
    info->add_option("FILE", media_file, "The media file")->required();
    info->add_flag("--json", json, "As a JSON document");
}

void CommandLine::AddTexts() {
    app.add_subcommand("completion", "Print the completion for bash, to be sourced by it");
    app.add_subcommand("man", "Print the manual page, for man -l -");
}

}  // namespace studio
