#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/cli/run_samplenet.h"

namespace {

using cli_testing::runSamplenetOut;
using cli_testing::runSamplenetJson;
using nlohmann::json;

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";

TEST(ImpactCommand, RanksCandidatesWithTheTargetPosteriorThatInferGives) {
    const json impact = runSamplenetJson({"impact", kAsia, "-t", "either", "-e", "dysp=yes", "-a", "exact", "--format", "json"});
    const json infer = runSamplenetJson({"infer", kAsia, "-q", "either", "-e", "dysp=yes", "-a", "exact", "--format", "json"});
    EXPECT_EQ(impact["target"]["posterior"]["probabilities"], infer["posteriors"][0]["probabilities"]);
    EXPECT_EQ(impact["runs"], 3);
    const json& candidates = impact["candidates"];
    ASSERT_EQ(candidates.size(), 6u);
    EXPECT_EQ(candidates[0]["node"], "lung");
    for (const json& candidate : candidates) {
        EXPECT_NEAR(candidate["expected_entropy_bits"].get<double>(),
                    impact["target"]["entropy_bits"].get<double>() - candidate["mutual_information_bits"].get<double>(),
                    1e-12);
        // P(target | e) is the mixture of P(target | e, c) by P(c | e).
        double mixed = 0.0;
        for (std::size_t c = 0; c < candidate["states"].size(); ++c)
            mixed += candidate["posterior"]["probabilities"][c].get<double>() *
                     candidate["target_given_state"][c]["probabilities"][0].get<double>();
        EXPECT_NEAR(mixed, impact["target"]["posterior"]["probabilities"][0].get<double>(), 1e-12);
    }
}

TEST(ImpactCommand, TopLimitsEveryFormatAndSampledRunsCarryErrors) {
    std::istringstream lines(runSamplenetOut(
        {"impact", kAsia, "-t", "lung", "--top", "2", "--format", "csv", "-a", "epis", "-n", "5000", "--seed", "4"}));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "node,mutual_information_bits,standard_error,state,probability,probability_standard_error,"
                    "lung=yes,lung=no");
    int rows = 0;
    while (std::getline(lines, line)) {
        ++rows;
        EXPECT_EQ(std::count(line.begin(), line.end(), ','), 7) << line;
        EXPECT_EQ(line.find(",,"), std::string::npos) << "a sampled run leaves no error empty: " << line;
    }
    EXPECT_EQ(rows, 4);  // two binary candidates
    const std::string table = runSamplenetOut({"impact", kAsia, "-t", "lung", "--top", "1", "-a", "exact"});
    EXPECT_NE(table.find("# target lung: yes 0.0550, no 0.9450; entropy"), std::string::npos) << table;
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 4 + 1 + 2) << table;
}

}  // namespace
