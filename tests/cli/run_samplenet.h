#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/scratch_folder.h"

namespace cli_testing {

struct Run {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs the built samplenet binary with `arguments` in `directory` (the
// current one when empty), with `environment` ("NAME=value ...", shell
// quoted as needed) added to its environment, and collects what it printed.
Run runSamplenet(const std::vector<std::string>& arguments, const std::string& directory = "",
                 const std::string& environment = "");

// As runSamplenet, with every file it writes, its standard output and error
// too, limited to `blocks` of 512 bytes (the shell's unit), beyond which a
// write fails with "File too large".
Run runSamplenetWithFileSizeLimit(const std::vector<std::string>& arguments, int blocks);

using testing_support::fileContents;

// `arguments` with `more` after them.
std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more);

// The pieces of `text` between each `separator`: its lines by default.
std::vector<std::string> split(const std::string& text, char separator = '\n');

// A test data file's path.
std::string dataFile(const std::string& name);

// The JSON a successful run printed (a test failure when it failed).
nlohmann::json runSamplenetJson(const std::vector<std::string>& arguments);

// What a successful run printed (a test failure when it failed).
std::string runSamplenetOut(const std::vector<std::string>& arguments);

// Checks a refused run: exit code `exitCode`, nothing on standard output,
// and one error line on standard error holding `message`.
void expectRefusal(const Run& run, const std::string& message, int exitCode = 1);

// Writes `text` to a fresh scratch file called `name` and returns its path.
std::string scratchFile(const std::string& name, const std::string& text);

// A case file for smoker.bif at `path` with `rows` cases, cycling through
// an observed smoker, both observed, an observed cough and none observed.
std::string smokerCases(const std::string& path, std::size_t rows);

}  // namespace cli_testing
