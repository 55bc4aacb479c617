#include "CommandText.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace studio {

namespace {

using Apps = std::vector<const CLI::App*>;
using Options = std::vector<const CLI::Option*>;

Apps CommandsOf(const CLI::App& app) {
    return app.get_subcommands(
        [](const CLI::App* command) { return !command->get_name().empty(); });
}

Options OptionsOf(const CLI::App& app, bool positional) {
    return app.get_options(
        [positional](const CLI::Option* option) { return option->nonpositional() != positional; });
}

// A line that begins with a point or an apostrophe, and a backslash, mean something else there.
std::string Roff(std::string_view text) {
    std::string made;
    for (const char c : text) {
        if (c == '\\' || c == '-') made += '\\';
        made += c;
        if (c == '\\') made += 'e';
    }
    if (!made.empty() && (made[0] == '.' || made[0] == '\'')) made.insert(0, "\\&");
    return made;
}

std::string Entry(const CLI::Option& option) {
    std::string names = option.nonpositional() ? option.get_name() : option.get_name(true);
    for (std::size_t at = 0; (at = names.find(',', at)) != std::string::npos; at += 2)
        names.replace(at, 1, ", ");
    const bool takes = option.nonpositional() && option.get_expected_min() > 0;
    return ".TP\n.B " + Roff(names) + (takes ? " \\fIVALUE\\fR" : "") + "\n" +
           Roff(option.get_description()) + "\n";
}

std::string Entries(const CLI::App& app) {
    std::string made;
    for (const bool positional : {true, false}) {
        for (const CLI::Option* option : OptionsOf(app, positional)) made += Entry(*option);
    }
    return made;
}

std::string Words(const CLI::App& app) {
    std::string words;
    for (const CLI::App* command : CommandsOf(app)) words += command->get_name() + " ";
    for (const CLI::Option* option : OptionsOf(app, false)) {
        for (const std::string& name : option->get_lnames()) words += "--" + name + " ";
    }
    return words;
}

}  // namespace

std::string ManPage(const CLI::App& app) {
    std::string page =
        ".TH VIMBREL 1\n.SH NAME\nvimbrel \\- compose, record and stream a picture\n";
    page += ".SH SYNOPSIS\n.B vimbrel\n\\fICOMMAND\\fR [\\fIOPTION\\fR]...\n.SH DESCRIPTION\n";
    page += Roff(app.get_description()) + "\n.SH COMMANDS\n";
    for (const CLI::App* command : CommandsOf(app)) {
        page += ".SS " + Roff(command->get_name()) + "\n" + Roff(command->get_description()) + "\n";
        page += Entries(*command);
    }
    page += ".SH OPTIONS OF ALL COMMANDS\n" + Entries(app);
    return page + ".SH EXIT STATUS\n" + Roff(app.get_footer()) + "\n";
}

std::string BashCompletion(const CLI::App& app) {
    std::string cases;
    for (const CLI::App* command : CommandsOf(app))
        cases += "        " + command->get_name() + ") words=\"" + Words(*command) + "\" ;;\n";
    return "# Completion of vimbrel for bash.\n"
           "_vimbrel() {\n"
           "    local words\n"
           "    case ${COMP_WORDS[1]-} in\n" +
           cases + "        *) words=\"" + Words(app) +
           "\" ;;\n"
           "    esac\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n"
           "}\n"
           "complete -o default -F _vimbrel vimbrel\n";
}

}  // namespace studio
