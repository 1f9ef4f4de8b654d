#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/cli/run_samplenet.h"

namespace {

using cli_testing::runSamplenet;
const auto jsonOf = &cli_testing::runSamplenetJson;

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";

// The explanation of epis (best sample, local search) is the exact one on
// asia.
TEST(QueryOptions, SampledAndExactExplanationsAgree) {
    const auto exact = jsonOf({"infer", kAsia, "-e", "dysp=yes", "-e", "xray=yes", "--mpe", "-a", "exact", "--format", "json"});
    const auto sampled = jsonOf({"infer", kAsia, "-e", "dysp=yes", "-e", "xray=yes", "--mpe", "-a", "epis", "-n", "5000",
                                 "--seed", "3", "--format", "json"});
    EXPECT_TRUE(exact.at("exact").get<bool>());
    EXPECT_FALSE(sampled.at("exact").get<bool>());
    EXPECT_EQ(exact.at("explanation"), sampled.at("explanation"));
    EXPECT_EQ(exact.at("explanation").at("xray"), "yes");
    EXPECT_NEAR(exact.at("ln_joint_probability").get<double>(), sampled.at("ln_joint_probability").get<double>(), 1e-12);
    // P(x | e) = P(x, e) / P(e), with P(e) as plain inference reports it.
    const auto evidence = jsonOf({"infer", kAsia, "-e", "dysp=yes", "-e", "xray=yes", "-a", "exact", "--format", "json"});
    EXPECT_NEAR(exact.at("ln_posterior_probability").get<double>(),
                exact.at("ln_joint_probability").get<double>() - evidence.at("ln_probability_of_evidence").get<double>(),
                1e-12);
}

// A sampled joint table carries a standard error per entry and lies near
// the exact one; its heading says how far every entry may be off.
TEST(QueryOptions, SampledJointCarriesItsErrors) {
    const std::vector<std::string> asked = {"infer", kAsia, "-e", "xray=yes", "--joint", "lung,either,tub", "--format",
                                            "json"};
    const auto exact = jsonOf(asked);
    const auto sampled = jsonOf(cli_testing::with(asked, {"-a", "epis", "-n", "20000", "--seed", "2"}));
    EXPECT_EQ(sampled.at("algorithm"), "epis");
    EXPECT_EQ(sampled.at("samples_drawn"), 20000);
    const std::vector<double> expected = exact.at("probabilities");
    const std::vector<double> table = sampled.at("probabilities");
    const std::vector<double> errors = sampled.at("standard_errors");
    ASSERT_EQ(table.size(), expected.size());
    ASSERT_EQ(errors.size(), expected.size());
    EXPECT_FALSE(exact.contains("standard_errors"));
    for (std::size_t k = 0; k < table.size(); ++k) EXPECT_NEAR(table[k], expected[k], 5 * errors[k] + 0.005) << k;
    EXPECT_GE(sampled.at("error_bound").get<double>(), 1.96 * *std::max_element(errors.begin(), errors.end()));

    const auto csv = runSamplenet({"infer", kAsia, "--joint", "lung,either", "-a", "ais", "-n", "1000", "--format", "csv"});
    EXPECT_EQ(csv.out.substr(0, csv.out.find('\n')), "lung,either,probability,standard_error");
}

TEST(QueryOptions, RefuseWhatTheyCannotAnswer) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--joint", "lung,nowhere"}, "unknown node \"nowhere\" in --joint"},
        {{"--joint", "lung,lung"}, "names a variable twice"},
        {{"--joint", "lung", "-a", "lbp"}, "lbp gives no joint posterior"},
        {{"--mpe", "-a", "lbp"}, "lbp gives no explanation"},
        {{"--mpe", "-q", "lung", "-a", "lbp"}, "lbp gives no most probable states"},
        {{"--mpe", "--format", "html"}, "print as table, json or csv"},
        {{"--mpe", "--joint", "lung"}, "excludes"},
    };
    for (const auto& [options, message] : cases) {
        const auto run = runSamplenet(cli_testing::with({"infer", kAsia}, options));
        EXPECT_NE(run.exitCode, 0) << message;
        EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
    }
}

}  // namespace
