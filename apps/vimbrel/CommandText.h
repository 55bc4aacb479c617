// What is made of the options besides their help: a manual page, and completion for shells.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace studio {

// In the language of man.
std::string ManPage(const CLI::App& app);

// For bash: commands, their options, and files.
std::string BashCompletion(const CLI::App& app);

}  // namespace studio
