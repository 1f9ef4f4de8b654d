#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/cli/run_samplenet.h"

namespace {

namespace fs = std::filesystem;
using cli_testing::dataFile;
using cli_testing::fileContents;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetWithFileSizeLimit;
using cli_testing::scratchDirectory;

std::size_t entries(const fs::path& directory) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), {}));
}

std::string smokerCases(const fs::path& directory, int rows) {
    const std::string path = (directory / "cases.csv").string();
    std::ofstream out(path);
    out << "Smoker,Cough\n";
    for (int i = 0; i < rows; ++i) out << (i % 2 ? "yes,\n" : ",no\n");
    return path;
}

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";
const std::string kAlarm = std::string(SAMPLENET_TEST_DATA) + "/networks/alarm.bif.gz";

TEST(OutputFiles, EveryCommandWritesThroughALinkAndRefusesAReadOnlyFile) {
    const fs::path directory = scratchDirectory("outputs");
    const std::string cases = smokerCases(directory, 4);
    struct Command {
        std::string output;
        std::vector<std::string> arguments;
    };
    const std::vector<Command> commands = {
        {"net.bif", {"convert", kAsia}},
        {"random.xml", {"generate", "--nodes", "5", "--seed", "1"}},
        {"rows.csv", {"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-o"}},
        {"asia.svg", {"plot", kAsia, "-a", "exact", "-o"}},
    };
    for (const Command& command : commands) {
        const fs::path target = directory / ("target-" + command.output);
        const fs::path link = directory / command.output;
        std::ofstream(target) << "old";
        fs::create_symlink(target.filename(), link);
        std::vector<std::string> arguments = command.arguments;
        arguments.push_back(link.string());
        const auto written = runSamplenet(arguments);
        EXPECT_EQ(written.exitCode, 0) << command.output << ": " << written.err;
        EXPECT_TRUE(fs::is_symlink(link)) << command.output << ": the link was replaced";
        const std::string output = fileContents(target.string());
        EXPECT_TRUE(output != "old" && !output.empty()) << command.output << ": the link's target was not written";

        // Also as root, which the system would let write it.
        chmod(target.c_str(), 0444);
        const auto refused = runSamplenet(arguments);
        EXPECT_EQ(refused.exitCode, 1) << command.output;
        EXPECT_NE(refused.err.find(link.string() + ": cannot write file: the file is read-only (mode 0444)"),
                  std::string::npos)
            << refused.err;
        EXPECT_EQ(fileContents(target.string()), output) << command.output;
        EXPECT_EQ(fs::status(target).permissions(), fs::perms(0444)) << command.output;
    }
    EXPECT_EQ(entries(directory), 1 + 2 * commands.size()) << "a temporary file was left";
    fs::remove_all(directory);
}

TEST(OutputFiles, AFailedWriteLeavesThePreviousFileAndNoTemporaryOne) {
    const fs::path directory = scratchDirectory("failed-writes");
    const std::string cases = smokerCases(directory, 400);
    const std::string output = (directory / "out.csv").string();
    const std::string network = (directory / "out.bif").string();
    std::ofstream(output) << "old rows";
    std::ofstream(network) << "old network";
    // Four blocks of 512 bytes hold neither alarm's text nor 400 rows.
    const auto converted = runSamplenetWithFileSizeLimit({"convert", kAlarm, network}, 4);
    EXPECT_EQ(converted.exitCode, 1);
    EXPECT_NE(converted.err.find(network + ": cannot write file: File too large"), std::string::npos) << converted.err;
    const auto batch =
        runSamplenetWithFileSizeLimit({"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-o", output}, 4);
    EXPECT_EQ(batch.exitCode, 1);
    EXPECT_NE(batch.err.find(output + ": cannot write file: File too large"), std::string::npos) << batch.err;
    EXPECT_EQ(fileContents(output), "old rows");
    EXPECT_EQ(fileContents(network), "old network");
    EXPECT_EQ(entries(directory), 3u) << "a temporary file was left";
    fs::remove_all(directory);
}

TEST(StandardOutput, EveryCommandFailsWhenItsOutputCannotBeWritten) {
    const fs::path directory = scratchDirectory("standard-output");
    const std::string cases = smokerCases(directory, 400);
    const std::vector<std::vector<std::string>> commands = {
        {"infer"},
        {"infer", "--format", "json"},
        {"infer", kAlarm, "-a", "lbp", "--format", "csv"},
        {"batch", dataFile("smoker.bif"), cases, "-a", "exact"},
        {"--help"},
    };
    for (const auto& command : commands) {
        // Two blocks of 512 bytes: less than any of these prints.
        const auto run = runSamplenetWithFileSizeLimit(command, 2);
        EXPECT_EQ(run.exitCode, 1) << command.front() << ": " << run.err;
        EXPECT_NE(run.err.find("samplenet: error: cannot write standard output: File too large"), std::string::npos)
            << command.front() << ": " << run.err;
    }
    fs::remove_all(directory);
}

}  // namespace
