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

// Every command writes through the one output file writer: a read-only
// file is refused, even as root, whom the system would let write it.
TEST(OutputFiles, EveryCommandRefusesAReadOnlyFile) {
    const testing_support::ScratchFolder scratch;
    const std::string cases = cli_testing::smokerCases(scratch.file("cases.csv"), 4);
    const std::vector<std::vector<std::string>> commands = {
        {"convert", kAsia, scratch.file("net.bif")},
        {"generate", "--nodes", "5", "--seed", "1", scratch.file("random.xml")},
        {"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-o", scratch.file("rows.csv")},
        {"plot", kAsia, "-a", "exact", "-o", scratch.file("asia.svg")},
        {"infer", kAsia, "-a", "exact", "-o", scratch.file("asia.json")},
    };
    for (const auto& command : commands) {
        const std::string& target = command.back();
        std::ofstream(target) << "old";
        chmod(target.c_str(), 0444);
        cli_testing::expectRefusal(runSamplenet(command),
                                   target + ": cannot write file: the file is read-only (mode 0444)");
        EXPECT_EQ(fileContents(target), "old") << target;
    }
    EXPECT_EQ(entries(scratch.path()), 1 + commands.size()) << "a temporary file was left";
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
    cli_testing::expectRefusal(runSamplenetWithFileSizeLimit({"convert", kAlarm, network}, 4),
                               network + ": cannot write file: File too large");
    cli_testing::expectRefusal(
        runSamplenetWithFileSizeLimit({"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-o", output}, 4),
        output + ": cannot write file: File too large");
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
    // The same report as on standard output; InferCommand compares JSON's.
    EXPECT_EQ(fileContents((directory / "p.csv").string()), runSamplenet(cli_testing::with(run, {"--format", "csv"})).out);
    EXPECT_EQ(nlohmann::json::parse(fileContents((directory / "p.json").string())).at("evidence").at("smoke"), "yes");
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
