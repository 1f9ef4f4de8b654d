#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace samplenet_cli {

struct CompletionArguments {
    std::string shell;
};

// A hidden command that prints a shell completion script for `app`, read
// from its commands and options as they are defined, so the script never
// offers an option the program does not take nor misses one it does.
CLI::App* addCompletionCommand(CLI::App& app, CompletionArguments& arguments);

void runCompletion(const CompletionArguments& arguments, const CLI::App& app);

// The script for "bash" or "zsh"; throws std::invalid_argument for others.
std::string completionScript(const CLI::App& app, const std::string& shell);

}  // namespace samplenet_cli
