#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
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
    const auto lines = cli_testing::split(runSamplenetOut(
        {"impact", kAsia, "-t", "lung", "--top", "2", "--format", "csv", "-a", "epis", "-n", "5000", "--seed", "4"}));
    ASSERT_EQ(lines.size(), 1u + 4u);  // two binary candidates
    EXPECT_EQ(lines[0], "node,mutual_information_bits,standard_error,state,probability,probability_standard_error,"
                        "lung=yes,lung=no");
    for (std::size_t row = 1; row < lines.size(); ++row) {
        EXPECT_EQ(std::count(lines[row].begin(), lines[row].end(), ','), 7) << lines[row];
        EXPECT_EQ(lines[row].find(",,"), std::string::npos) << "a sampled run leaves no error empty: " << lines[row];
    }
    const std::string table = runSamplenetOut({"impact", kAsia, "-t", "lung", "--top", "1", "-a", "exact"});
    EXPECT_NE(table.find("# target lung: yes 0.0550, no 0.9450; entropy"), std::string::npos) << table;
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 4 + 1 + 2) << table;
}

}  // namespace
