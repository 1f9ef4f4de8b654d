#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::fileContents;
using cli_testing::runSamplenetOut;
using testing_support::scratchPath;

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";

std::vector<std::string> lines(const std::string& text) { return cli_testing::split(text); }
std::vector<std::string> cells(const std::string& row) { return cli_testing::split(row, ','); }

// A header of node names, state names in the cells, the same rows for the
// same seed whether to a file or to standard output.
TEST(SampleCommand, WritesRepeatableRowsOfStateNames) {
    const std::string path = scratchPath("asia-samples.csv");
    EXPECT_EQ(runSamplenetOut({"sample", kAsia, "-n", "300", "--seed", "5", "-o", path}), "");
    const std::string written = fileContents(path);
    const auto rows = lines(written);
    ASSERT_EQ(rows.size(), 301u);
    EXPECT_EQ(rows[0], "asia,tub,smoke,lung,bronc,either,xray,dysp");
    for (std::size_t r = 1; r < rows.size(); ++r) {
        const auto row = cells(rows[r]);
        ASSERT_EQ(row.size(), 8u) << rows[r];
        for (const std::string& cell : row) ASSERT_TRUE(cell == "yes" || cell == "no") << rows[r];
    }
    EXPECT_EQ(runSamplenetOut({"sample", kAsia, "-n", "300", "--seed", "5"}), written);
}

// With evidence every row keeps the observed state and carries its weight:
// P(dysp=yes | bronc, either) times xray's factor.
TEST(SampleCommand, WeighsRowsByTheEvidence) {
    const auto rows = lines(
        runSamplenetOut({"sample", kAsia, "-n", "50", "--seed", "1", "-e", "dysp=yes", "-e", "xray=[0.9,0.2]"}));
    ASSERT_EQ(rows.size(), 51u);
    EXPECT_EQ(rows[0], "asia,tub,smoke,lung,bronc,either,xray,dysp,weight");
    const std::map<std::string, double> dyspYes = {{"yes,yes", 0.9}, {"yes,no", 0.8}, {"no,yes", 0.7}, {"no,no", 0.1}};
    for (std::size_t r = 1; r < rows.size(); ++r) {
        const auto row = cells(rows[r]);
        ASSERT_EQ(row.size(), 9u);
        EXPECT_EQ(row[7], "yes");
        const double expected = dyspYes.at(row[4] + "," + row[5]) * (row[6] == "yes" ? 0.9 : 0.2);
        EXPECT_NEAR(std::stod(row[8]), expected, 1e-15) << rows[r];
    }
}

}  // namespace
