// The options of the command, and its help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "Log.h"
#include "ScreenScene.h"
#include "Studio.h"

namespace studio {

class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // False if the program is to end with `code`: the help was asked for, or an option is wrong.
    bool Parse(int argc, char** argv, int& code);
    bool Is(const char* command) const { return app.got_subcommand(command); }

    LogOptions log;
    RunSettings settings;
    bool dry_run = false;
    std::string scene;
    std::vector<std::string> outputs;
    bool streams = false;  // a URL was given, if only an empty one
    StreamOptions stream;
    ScreenOptions screen;
    std::string file;  // of record; empty for one named by date
    int quality = 1;

    std::string media_file;
    std::string thumbnail_file;
    double thumbnail_time = 0;
    bool json = false;  // of lists

private:
    void AddRun();
    void AddRecord();
    void AddStream();
    void AddLists();
    void AddMediaFile();
    void AddTime(CLI::App* command);
    CLI::Option* AddServer(CLI::App* command);
    void AddScreen(CLI::App* command);

    std::string progress;
    bool silent = false;
    CLI::App app;
};

}  // namespace studio
