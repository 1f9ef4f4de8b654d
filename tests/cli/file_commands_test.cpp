#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::dataFile;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetOut;

TEST(InfoCommand, DescribesTheNetwork) {
    EXPECT_EQ(runSamplenetOut({"info", dataFile("smoker.bif")}),
              "network: smoker\n"
              "nodes: 3\n"
              "arcs: 2\n"
              "states: min 2, max 2, total 6\n"
              "largest table: 4 entries (Cough)\n"
              "max in-degree: 1\n"
              "depth: 2 nodes on the longest directed path\n"
              "polytree: yes\n"
              "junction tree: 2 cliques, largest 2 nodes (4 entries), 8 entries in all (0.0 MiB)\n"
              "exact inference: under 0.01 s\n"
              "elimination order: min-fill, the cheapest in table entries of those tried\n");
}

// Given a query, info measures the tree exact inference builds for it:
// Lungs and Cough are barren for Smoker alone, and evidence on Cough
// leaves it as a slice of Smoker's table.
TEST(InfoCommand, MeasuresTheTreeOfAQuery) {
    for (const auto& query : {std::vector<std::string>{"-q", "Smoker"}, {"-e", "Cough=yes", "-q", "Smoker"}}) {
        const std::string info = runSamplenetOut(cli_testing::with({"info", dataFile("smoker.bif")}, query));
        EXPECT_NE(info.find("junction tree for this evidence and query: 1 cliques, largest 1 nodes (2 entries), "
                            "2 entries in all"),
                  std::string::npos)
            << info;
    }
    cli_testing::expectRefusal(runSamplenet({"info", dataFile("smoker.bif"), "-q", "Nothing"}),
                               "unknown node \"Nothing\"");
}

// Beyond the memory limit, info says so instead of printing the partial
// figures, and still succeeds: the network itself is fine.
TEST(InfoCommand, StopsMeasuringTheJunctionTreeAtTheMemoryLimit) {
    const auto run = runSamplenet({"info", dataFile("smoker.bif"), "--memory-limit", "1e-9"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(run.out.ends_with(
        "polytree: yes\njunction tree: more than the memory limit of 1 bytes (stopped after 1 of 3 variables)\n"))
        << run.out;
    EXPECT_EQ(run.err, "");

    cli_testing::expectRefusal(runSamplenet({"info", dataFile("smoker.bif"), "--memory-limit", "0"}), "--memory-limit");
}

std::string converted(const std::string& extension) {
    const std::string path = testing_support::scratchPath("smoker" + extension);
    EXPECT_EQ(runSamplenetOut({"convert", dataFile("smoker.bif"), path}), "");
    return path;
}

std::string lbpCsv(const std::vector<std::string>& arguments) {
    return runSamplenetOut(cli_testing::with(cli_testing::with({"infer"}, arguments), {"-a", "lbp", "--format", "csv"}));
}

// Every format written and read back answers the same query; UAI keeps no
// names, so there only the numbers are compared, with the evidence given as
// a UAI evidence file (Cough is variable 1, yes its state 0).
TEST(ConvertCommand, RoundTripsThroughEveryFormat) {
    const std::string reference = lbpCsv({dataFile("smoker.bif"), "-e", "Cough=yes"});
    for (const std::string extension : {".xmlbif", ".net", ".bif.gz"})
        EXPECT_EQ(lbpCsv({converted(extension), "-e", "Cough=yes"}), reference) << extension;
    auto numbers = [](const std::string& csv) {
        std::vector<double> column;
        for (std::size_t line = csv.find('\n'); line + 1 < csv.size(); line = csv.find('\n', line + 1))
            column.push_back(std::stod(csv.substr(csv.rfind(',', csv.find('\n', line + 1)) + 1)));
        return column;
    };
    const std::string evidence = cli_testing::scratchFile("smoker.evid", "1 1 0\n");
    EXPECT_EQ(numbers(lbpCsv({converted(".uai"), "--evidence-file", evidence})), numbers(reference));
}

}  // namespace
