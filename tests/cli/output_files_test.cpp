#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using cli_testing::dataFile;
using cli_testing::fileContents;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetWithFileSizeLimit;

std::size_t entries(const fs::path& directory) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), {}));
}

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";
const std::string kAlarm = std::string(SAMPLENET_TEST_DATA) + "/networks/alarm.bif.gz";

TEST(OutputFiles, EveryCommandWritesThroughALinkAndRefusesAReadOnlyFile) {
    const testing_support::ScratchFolder scratch;
    const fs::path& directory = scratch.path();
    const std::string cases = cli_testing::smokerCases((directory / "cases.csv").string(), 4);
    struct Command {
        std::string output;
        std::vector<std::string> arguments;
    };
    const std::vector<Command> commands = {
        {"net.bif", {"convert", kAsia}},
        {"random.xml", {"generate", "--nodes", "5", "--seed", "1"}},
        {"rows.csv", {"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-o"}},
        {"asia.svg", {"plot", kAsia, "-a", "exact", "-o"}},
        {"asia.json", {"infer", kAsia, "-a", "exact", "-o"}},
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
}

TEST(OutputFiles, AFailedWriteLeavesThePreviousFileAndNoTemporaryOne) {
    const testing_support::ScratchFolder scratch;
    const fs::path& directory = scratch.path();
    const std::string cases = cli_testing::smokerCases((directory / "cases.csv").string(), 400);
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
}

TEST(OutputFiles, InferWritesTheFormatTheExtensionNames) {
    const testing_support::ScratchFolder scratch;
    const fs::path& directory = scratch.path();
    const std::vector<std::string> run = {"infer", kAsia, "-a", "exact", "-e", "smoke=yes"};
    auto withOutput = [&](const std::string& name) { return cli_testing::with(run, {"-o", (directory / name).string()}); };
    for (const char* name : {"p.txt", "p.json", "p.csv", "p.html"})
        EXPECT_EQ(cli_testing::runSamplenetOut(withOutput(name)), "") << name;
    // The same report as on standard output, but for the time taken.
    EXPECT_EQ(fileContents((directory / "p.csv").string()), runSamplenet(cli_testing::with(run, {"--format", "csv"})).out);
    const auto json = cli_testing::with(run, {"--format", "json"});
    nlohmann::json fromFile = nlohmann::json::parse(fileContents((directory / "p.json").string()));
    nlohmann::json printed = cli_testing::runSamplenetJson(json);
    fromFile.erase("seconds");
    printed.erase("seconds");
    EXPECT_EQ(fromFile, printed);
    const std::string table = fileContents((directory / "p.txt").string());
    EXPECT_NE(table.find("# evidence: smoke=yes"), std::string::npos) << table;
    EXPECT_NE(fileContents((directory / "p.html").string()).find("<html"), std::string::npos);

    // Refused before anything runs, and nothing written.
    cli_testing::expectRefusal(runSamplenet(withOutput("p.xml")), "should end in .txt, .json, .csv or .html");
    cli_testing::expectRefusal(runSamplenet(cli_testing::with(withOutput("q.csv"), {"--format", "json"})),
                               "--format json does not match the extension of -o");
    EXPECT_EQ(runSamplenet(cli_testing::with(withOutput("q.json"), {"--format", "json"})).exitCode, 0);
    EXPECT_EQ(entries(directory), 5u);
}

TEST(StandardOutput, EveryCommandFailsWhenItsOutputCannotBeWritten) {
    const std::string cases = cli_testing::smokerCases(testing_support::scratchPath("cases.csv"), 400);
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
}

}  // namespace
