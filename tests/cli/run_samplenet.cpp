#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace cli_testing {

namespace {

std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// `before` is shell text run first, in the same shell.
Run runInShell(const std::string& before, const std::vector<std::string>& arguments, const std::string& directory,
               const std::string& environment) {
    const std::string out = testing_support::scratchPath("stdout");
    const std::string err = testing_support::scratchPath("stderr");
    std::string command = before + (directory.empty() ? "" : "cd " + shellQuoted(directory) + " && ");
    command += environment + " " + shellQuoted(SAMPLENET_BINARY);
    for (const std::string& argument : arguments) command += " " + shellQuoted(argument);
    command += " >" + shellQuoted(out) + " 2>" + shellQuoted(err) + " </dev/null";
    const int status = std::system(command.c_str());
    Run run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = fileContents(out);
    run.err = fileContents(err);
    std::filesystem::remove(out);
    std::filesystem::remove(err);
    return run;
}

}  // namespace

Run runSamplenet(const std::vector<std::string>& arguments, const std::string& directory,
                 const std::string& environment) {
    return runInShell("", arguments, directory, environment);
}

Run runSamplenetWithFileSizeLimit(const std::vector<std::string>& arguments, int blocks) {
    // Ignored, SIGXFSZ no longer kills the process: the write fails with EFBIG.
    return runInShell("trap '' XFSZ; ulimit -f " + std::to_string(blocks) + "; ", arguments, "", "");
}

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::istringstream in(text);
    for (std::string piece; std::getline(in, piece, separator);) pieces.push_back(piece);
    return pieces;
}

std::string dataFile(const std::string& name) { return std::string(CLI_TEST_DATA) + "/" + name; }

std::string runSamplenetOut(const std::vector<std::string>& arguments) {
    const Run run = runSamplenet(arguments);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run.out;
}

nlohmann::json runSamplenetJson(const std::vector<std::string>& arguments) {
    return nlohmann::json::parse(runSamplenetOut(arguments));
}

void expectRefusal(const Run& run, const std::string& message, int exitCode) {
    SCOPED_TRACE("expecting the error \"" + message + "\"");
    EXPECT_EQ(run.exitCode, exitCode) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.rfind("samplenet: error: ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
}

std::string scratchFile(const std::string& name, const std::string& text) {
    const std::string path = testing_support::scratchPath(name);
    std::ofstream(path) << text;
    return path;
}

std::string smokerCases(const std::string& path, std::size_t rows) {
    std::ofstream out(path);
    out << "Smoker,Cough\n";
    const char* cells[] = {"yes,", "no,yes", ",no", ","};
    for (std::size_t i = 0; i < rows; ++i) out << cells[i % 4] << "\n";
    return path;
}

}  // namespace cli_testing
