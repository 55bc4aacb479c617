#include "outputs/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace studio {

namespace {

using Json = nlohmann::json;

double Decibels(float peak) { return 20 * std::log10(static_cast<double>(peak)); }

// As in "  mic -12 dB".
std::string LevelText(const SoundLevel& level) {
    char text[32] = "silent";
    if (level.peak > 0) std::snprintf(text, sizeof text, "%.0f dB", Decibels(level.peak));
    return "  " + level.name + " " + (level.muted ? "muted" : text);
}

// Names are those of files and devices, in which any byte may be.
void PrintLine(const Json& document) {
    std::printf("%s\n", document.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

Json StateOf(const Output& output) {
    const OutputStatus status = output.Status();
    return {{"name", output.ShortName()},
            {"state", output.State()},
            {"frames", status.written},
            {"dropped", status.dropped},
            {"bytes", status.bytes}};
}

Json StateOf(const SoundLevel& level) {
    const Json peak = level.peak > 0 ? Json(Decibels(level.peak)) : Json(nullptr);
    return {{"name", level.name}, {"peak", peak}, {"muted", level.muted}};
}

}  // namespace

Progress::Progress(bool as_json)
    : json(as_json), terminal(!as_json && isatty(STDOUT_FILENO) != 0) {}

Progress::~Progress() { EndLine(); }

void Progress::EndLine() {
    if (line_open) std::printf("\n");
    line_open = false;
}

bool Progress::IsDue() {
    const auto now = std::chrono::steady_clock::now();
    if (now < next) return false;
    next = now + std::chrono::milliseconds(terminal || json ? 200 : 1000);
    return true;
}

void Progress::Show(const RunState& state, const Outputs& outputs) {
    if (!json) return ShowText(state, outputs);
    Json output_states = Json::array();
    for (const auto& output : outputs) output_states.push_back(StateOf(*output));
    Json sound = Json::array();
    for (const SoundLevel& level : state.levels) sound.push_back(StateOf(level));
    PrintLine({{"event", "progress"},
               {"seconds", state.seconds},
               {"frames", state.frames},
               {"skipped", state.skipped},
               {"outputs", output_states},
               {"sound", sound}});
}

void Progress::ShowText(const RunState& state, const Outputs& outputs) {
    std::uint64_t dropped = state.skipped;
    std::string rest;
    for (const auto& output : outputs) {
        dropped += output->Status().dropped;
        rest += "  " + output->ShortName() + " " + output->State();
    }
    for (const SoundLevel& level : state.levels) rest += LevelText(level);
    const int minutes = static_cast<int>(state.seconds / 60);
    char counts[96];
    std::snprintf(counts, sizeof counts, "%02d:%04.1f  frames %llu  dropped %llu", minutes,
                  state.seconds - minutes * 60, static_cast<unsigned long long>(state.frames),
                  static_cast<unsigned long long>(dropped));
    std::string line = counts + rest;
    if (terminal) {
        // The blanks cover what a longer line before may have left.
        longest = std::max(longest, line.size());
        line.resize(longest, ' ');
    }
    std::printf(terminal ? "\r%s" : "%s\n", line.c_str());
    std::fflush(stdout);
    line_open = terminal;
}

void Progress::ShowEnd(const Output& output, std::uint64_t skipped) {
    EndLine();
    const std::string summary = output.Summary(skipped);
    if (!json) {
        std::printf("%s\n", summary.c_str());
        return;
    }
    Json document = StateOf(output);
    document["event"] = "finished";
    document["summary"] = summary;
    PrintLine(document);
}

void Progress::ShowFailure(const Output& output, const std::string& error) {
    EndLine();
    std::fprintf(stderr, "vimbrel: %s\n", error.c_str());
    if (json) PrintLine({{"event", "failed"}, {"name", output.ShortName()}, {"error", error}});
}

}  // namespace studio
