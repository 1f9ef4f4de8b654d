#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "lib/model/errors.h"
#include "lib/queries/joint_posterior.h"
#include "lib/queries/maximum_a_posteriori.h"
#include "lib/queries/most_probable_explanation.h"
#include "tests/support/random_network.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Evidence;

// Position of the asked states in the joint table (last variable fastest).
std::size_t entryOf(const samplenet::Network& network, const std::vector<int>& variables, const std::vector<int>& states) {
    std::size_t entry = 0;
    for (std::size_t d = 0; d < variables.size(); ++d)
        entry = entry * network.variables[variables[d]].states.size() + static_cast<std::size_t>(states[d]);
    return entry;
}

// On random networks with zeros, random evidence and random sets of one to
// three variables (observed ones among them at times), the answer is the
// most probable entry of the exact joint posterior, with its probability;
// and it is not always the whole explanation's restriction to the set.
TEST(MaximumAPosteriori, IsTheMostProbableEntryOfTheExactJointPosterior) {
    std::mt19937 rng(2901);
    int differsFromTheExplanation = 0;
    for (int round = 0; round < 150; ++round) {
        testing_support::RandomNetworkShape shape;
        shape.variables = 5 + static_cast<int>(rng() % 6);
        const auto tiny = testing_support::randomNetwork(rng, shape);
        const samplenet::Network network = testing_support::toNetwork(tiny);
        const Evidence evidence = testing_support::withHardEvidence(testing_support::sampledEvidence(rng, tiny, 0.25));
        std::vector<int> all(network.size());
        for (int v = 0; v < network.size(); ++v) all[v] = v;
        std::shuffle(all.begin(), all.end(), rng);
        const std::vector<int> chosen(all.begin(), all.begin() + 1 + rng() % 3);

        const auto answer = samplenet::maximumAPosteriori(network, evidence, chosen);
        const auto joint = samplenet::exactJointPosterior(network, evidence, chosen).probabilities;
        const double best = *std::max_element(joint.begin(), joint.end());
        std::vector<int> states;
        for (int v = 0; v < network.size(); ++v)
            if (std::find(chosen.begin(), chosen.end(), v) == chosen.end()) {
                EXPECT_EQ(answer.states[v], -1);
            }
        for (int v : chosen) states.push_back(answer.states[v]);
        EXPECT_NEAR(joint[entryOf(network, chosen, states)], best, 1e-12 * best) << "round " << round;
        EXPECT_NEAR(std::exp(answer.logPosterior), best, 1e-9 * best) << "round " << round;
        for (std::size_t d = 0; d < chosen.size(); ++d) {
            if (evidence.hard.count(chosen[d])) {
                EXPECT_EQ(states[d], evidence.hard.at(chosen[d]));
            }
        }

        const auto explanation = samplenet::mostProbableExplanation(network, evidence);
        std::vector<int> restricted;
        for (int v : chosen) restricted.push_back(explanation.states[v]);
        if (joint[entryOf(network, chosen, restricted)] < best * (1 - 1e-9)) ++differsFromTheExplanation;
    }
    EXPECT_GT(differsFromTheExplanation, 0);
}

TEST(MaximumAPosteriori, RefusesRepeatedOrUnknownVariables) {
    std::mt19937 rng(3);
    const samplenet::Network network = testing_support::toNetwork(testing_support::randomNetwork(rng, {}));
    EXPECT_THROW(samplenet::maximumAPosteriori(network, {}, {0, 0}), samplenet::EvidenceError);
    EXPECT_THROW(samplenet::maximumAPosteriori(network, {}, {network.size()}), samplenet::EvidenceError);
}

}  // namespace
