#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <string>

#include "lib/benchmark/evidence_cases.h"
#include "lib/formats/formats.h"
#include "lib/model/errors.h"
#include "lib/queries/most_probable_explanation.h"
#include "tests/support/brute_force.h"

namespace {

using samplenet::Evidence;
using samplenet::Network;

struct Enumerated {
    double bestLogJoint, logTotal;
};

// Every assignment that agrees with the hard evidence, straight from the
// tables.
Enumerated enumerate(const Network& network, const Evidence& evidence) {
    double best = 0.0, total = 0.0;
    testing_support::enumerateJointStates(network, {}, [&](const std::vector<int>& x, double p) {
        for (const auto& [v, state] : evidence.hard)
            if (state != x[v]) return;
        for (const auto& [v, factors] : evidence.likelihood) p *= factors[x[v]];
        best = std::max(best, p);
        total += p;
    });
    return {std::log(best), std::log(total)};
}

// The small bundled networks, with no evidence, forward samples observed
// (likely), a node's last state with a likelihood against another node's
// first (often unlikely), and a contradiction (impossible).
TEST(MostProbableExplanation, EqualsEnumerationOnTheSmallBundledNetworks) {
    for (const std::string name : {"asia", "cancer", "earthquake", "survey", "sachs"}) {
        const Network network = samplenet::readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/" + name + ".bif.gz");
        std::vector<Evidence> cases = {Evidence{}};
        for (unsigned long seed = 1; seed <= 3; ++seed)
            cases.push_back(samplenet::forwardSampledEvidence(network, 0.3, seed));
        Evidence unlikely;
        const int last = network.size() - 1;
        unlikely.hard[last] = network.variables[last].stateCount() - 1;
        unlikely.likelihood[0] = std::vector<double>(network.variables[0].stateCount(), 1.0);
        unlikely.likelihood[0][0] = 0.01;
        cases.push_back(unlikely);
        for (std::size_t c = 0; c < cases.size(); ++c) {
            SCOPED_TRACE(name + " case " + std::to_string(c));
            const Enumerated all = enumerate(network, cases[c]);
            const samplenet::Explanation found = samplenet::mostProbableExplanation(network, cases[c]);
            EXPECT_NEAR(found.logJoint, all.bestLogJoint, 1e-9);
            EXPECT_NEAR(samplenet::logJointProbability(network, cases[c], found.states), all.bestLogJoint, 1e-9);
            EXPECT_NEAR(found.logPosterior, all.bestLogJoint - all.logTotal, 1e-9);
            EXPECT_TRUE(found.exact);
        }
    }
    // Asia's "either" is the OR of tub and lung.
    const Network asia = samplenet::readNetwork(SAMPLENET_TEST_DATA "/networks/asia.bif.gz");
    Evidence impossible;
    impossible.hard = {{asia.indexOf("either").value(), 1}, {asia.indexOf("lung").value(), 0}};
    EXPECT_THROW(samplenet::mostProbableExplanation(asia, impossible), samplenet::EvidenceError);
}

}  // namespace
