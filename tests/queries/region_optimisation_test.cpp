#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "lib/graph/markov_blanket.h"
#include "lib/queries/most_probable_explanation.h"
#include "lib/queries/region_optimisation.h"
#include "tests/support/random_network.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Evidence;
using testing_support::withHardEvidence;
using samplenet::Network;
using samplenet::RegionOptimisation;
using testing_support::TinyNet;

// Random states for the unobserved variables, the evidence's for the rest:
// often impossible (the tables have zeros), which a move must handle too.
std::vector<int> randomStart(std::mt19937& rng, const Network& network, const Evidence& evidence) {
    std::vector<int> states(network.size());
    for (int v = 0; v < network.size(); ++v)
        states[v] = static_cast<int>(rng() % network.variables[v].states.size());
    for (const auto& [v, state] : evidence.hard) states[v] = state;
    return states;
}

// The best log P(x, e) over every joint state of `region`, the others held.
double bestOverRegion(const Network& network, const Evidence& evidence, std::vector<int> states,
                      const std::vector<int>& region) {
    double best = -std::numeric_limits<double>::infinity();
    std::vector<int> digits(region.size(), 0);
    for (;;) {
        for (std::size_t k = 0; k < region.size(); ++k) states[region[k]] = digits[k];
        best = std::max(best, samplenet::logJointProbability(network, evidence, states));
        std::size_t k = 0;
        while (k < region.size() && ++digits[k] == network.variables[region[k]].stateCount()) digits[k++] = 0;
        if (k == region.size()) return best;
    }
}

// A region holding every unobserved variable makes the move exact
// elimination: from any start, it lands on the most probable explanation.
TEST(RegionOptimisation, OverEveryVariableGivesTheMostProbableExplanation) {
    std::mt19937 rng(41);
    int moved = 0;
    for (int trial = 0; trial < 40; ++trial) {
        const TinyNet net = testing_support::randomNetwork(rng, {8, 3, 3, 0.2, trial % 4 == 0});
        const Network network = testing_support::toNetwork(net);
        Evidence evidence = withHardEvidence(testing_support::sampledEvidence(rng, net, 0.3));
        if (trial % 3 == 1) {
            const int v = static_cast<int>(rng() % net.size());
            if (!evidence.hard.count(v)) {
                evidence.likelihood[v] = std::vector<double>(net.states[v], 0.3);
                evidence.likelihood[v][0] = 0.9;
            }
        }
        const auto exact = samplenet::mostProbableExplanation(network, evidence);
        std::vector<int> everything(net.size());
        for (int v = 0; v < net.size(); ++v) everything[v] = v;
        SCOPED_TRACE("trial " + std::to_string(trial));

        std::vector<int> states = randomStart(rng, network, evidence);
        const std::vector<int> before = states;
        const RegionOptimisation regions(network, evidence);
        const std::vector<int> changed = regions.optimise(states, everything);
        EXPECT_NEAR(samplenet::logJointProbability(network, evidence, states), exact.logJoint, 1e-9);
        for (const auto& [v, state] : evidence.hard) EXPECT_EQ(states[v], state);
        for (int v = 0; v < net.size(); ++v)
            EXPECT_EQ(states[v] != before[v], std::count(changed.begin(), changed.end(), v) == 1) << "variable " << v;
        moved += !changed.empty();

        // At the optimum there is nothing left to gain.
        EXPECT_TRUE(regions.optimise(states, everything).empty());
    }
    EXPECT_GT(moved, 20) << "the starts were hardly ever moved";
}

// Partial regions: the move reaches the best joint state of the region with
// the rest held (so never lowers P(x, e)), changes nothing outside it, and
// the region stays connected, unobserved and within its bounds.
TEST(RegionOptimisation, OverARegionIsTheBestOfItsStatesWithTheRestHeld) {
    std::mt19937 rng(43);
    int moved = 0;
    for (int trial = 0; trial < 40; ++trial) {
        const TinyNet net = testing_support::randomNetwork(rng, {10, 3, 3, 0.1, false});
        const Network network = testing_support::toNetwork(net);
        const Evidence evidence = withHardEvidence(testing_support::sampledEvidence(rng, net, 0.2));
        const RegionOptimisation regions(network, evidence);
        SCOPED_TRACE("trial " + std::to_string(trial));

        std::vector<int> states = randomStart(rng, network, evidence);
        for (int move = 0; move < 6; ++move) {
            const int centre = static_cast<int>(rng() % net.size());
            const int most = 1 + move % 4;
            const std::size_t entries = move % 2 ? 9 : 1000;
            const std::vector<int> region = regions.regionAround(centre, most, entries);
            if (evidence.hard.count(centre)) {
                EXPECT_TRUE(region.empty());
                continue;
            }
            ASSERT_FALSE(region.empty());
            EXPECT_EQ(region.front(), centre);
            EXPECT_LE(static_cast<int>(region.size()), most);
            if (region.size() > 1) {
                EXPECT_LE(regions.largestTable(region), entries);
            }
            for (std::size_t k = 0; k < region.size(); ++k) {
                EXPECT_FALSE(evidence.hard.count(region[k]));
                EXPECT_EQ(std::count(region.begin(), region.end(), region[k]), 1);
                if (k == 0) continue;
                // Joined to an earlier member in the moral graph: in its Markov blanket.
                const auto blanket = samplenet::markovBlanket(network, region[k]);
                EXPECT_TRUE(std::any_of(region.begin(), region.begin() + k, [&](int earlier) {
                    return std::binary_search(blanket.begin(), blanket.end(), earlier);
                })) << "variable " << region[k] << " is not next to the region before it";
            }

            const double before = samplenet::logJointProbability(network, evidence, states);
            const double best = bestOverRegion(network, evidence, states, region);
            const std::vector<int> held = states;
            const std::vector<int> changed = regions.optimise(states, region);
            const double after = samplenet::logJointProbability(network, evidence, states);
            EXPECT_GE(after, before);
            EXPECT_TRUE(after == best || std::abs(after - best) < 1e-8) << after << " for " << best;  // both -inf too
            for (int v = 0; v < net.size(); ++v) {
                const bool inside = std::find(region.begin(), region.end(), v) != region.end();
                EXPECT_TRUE(inside || states[v] == held[v]) << "variable " << v << " outside the region changed";
            }
            EXPECT_EQ(changed.empty(), states == held);
            moved += !changed.empty();
        }
    }
    EXPECT_GT(moved, 30) << "the moves hardly ever changed anything";
}

}  // namespace
