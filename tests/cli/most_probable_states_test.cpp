#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/cli/run_samplenet.h"

namespace {

using cli_testing::runSamplenet;

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";

nlohmann::json jsonOf(const std::vector<std::string>& arguments) {
    return cli_testing::runSamplenetJson(cli_testing::with(arguments, {"--format", "json"}));
}

// --mpe with -q answers for the queried nodes alone: the most probable
// entry of their exact joint posterior, observed nodes in their state.
TEST(MostProbableStates, AreTheMostProbableEntryOfTheJointPosterior) {
    for (const auto& [evidence, nodes] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"xray=yes", {"lung", "bronc"}},  // the whole explanation has yes, yes here
             {"dysp=yes", {"tub", "lung", "smoke"}},
             {"smoke=no", {"smoke", "either"}},
         }) {
        std::vector<std::string> asked = {"infer", kAsia, "-e", evidence, "--mpe"};
        std::string joined;
        for (const auto& node : nodes) {
            asked.insert(asked.end(), {"-q", node});
            joined += (joined.empty() ? "" : ",") + node;
        }
        const auto answer = jsonOf(asked);
        const auto joint = jsonOf({"infer", kAsia, "-e", evidence, "-a", "exact", "--joint", joined});
        const std::vector<double> table = joint.at("probabilities");
        const auto best = std::max_element(table.begin(), table.end());
        // Decode the best entry's states, the last node's varying fastest.
        std::size_t entry = static_cast<std::size_t>(best - table.begin());
        nlohmann::json expected = nlohmann::json::object();
        for (std::size_t d = nodes.size(); d-- > 0;) {
            const auto& states = joint.at("nodes")[d].at("states");
            expected[nodes[d]] = states[entry % states.size()];
            entry /= states.size();
        }
        EXPECT_EQ(answer.at("explanation"), expected) << evidence;
        EXPECT_NEAR(answer.at("ln_posterior_probability").get<double>(), std::log(*best), 1e-12) << evidence;
        EXPECT_EQ(answer.at("algorithm"), "exact");
    }
    const auto table = runSamplenet({"infer", kAsia, "-e", "dysp=yes", "--mpe", "-q", "lung"});
    EXPECT_NE(table.out.find("# most probable states of the queried nodes (the others summed out) by exact\n"),
              std::string::npos)
        << table.out;
}

// A sampler answers too, and every output says the answer is approximate,
// how it was found, and what the estimates' errors are.
TEST(MostProbableStates, AreApproximatedByASamplerThatSaysSo) {
    const std::vector<std::string> asked = {"infer", kAsia, "-e", "dysp=yes", "--mpe", "-q", "tub", "-q", "lung",
                                            "-q", "smoke", "-a", "epis", "--seed", "5", "-n", "20000"};
    const auto answer = jsonOf(asked);
    const auto exact = jsonOf({"infer", kAsia, "-e", "dysp=yes", "--mpe", "-q", "tub", "-q", "lung", "-q", "smoke"});
    EXPECT_EQ(answer.at("explanation"), exact.at("explanation"));
    EXPECT_EQ(answer.at("algorithm"), "epis");
    EXPECT_EQ(answer.at("exact"), false);
    EXPECT_EQ(answer.at("estimated"), true);
    EXPECT_EQ(answer.at("seed"), 5);
    EXPECT_NE(answer.at("chosen_because").get<std::string>().find("approximate: "), std::string::npos);
    const double error = answer.at("ln_posterior_probability_standard_error");
    EXPECT_GT(error, 0.0);
    EXPECT_NEAR(answer.at("ln_posterior_probability").get<double>(), exact.at("ln_posterior_probability").get<double>(),
                4 * error);

    const std::string table = cli_testing::runSamplenetOut(asked);
    EXPECT_NE(table.find("# chosen: approximate: the heaviest configurations of the chosen nodes in the samples"),
              std::string::npos)
        << table;
    EXPECT_NE(table.find("# P(x | e) ~ "), std::string::npos) << table;
    EXPECT_NE(table.find(", estimated, standard error of ln "), std::string::npos) << table;
    EXPECT_EQ(runSamplenet(cli_testing::with(asked, {"--format", "csv"})).out.substr(0, 142),
              "node,state,observed,ln_joint_probability,ln_posterior_probability,ln_joint_probability_standard_error,"
              "ln_posterior_probability_standard_error\n");
}

}  // namespace
