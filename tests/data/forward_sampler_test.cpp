#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "lib/data/forward_sampler.h"
#include "lib/formats/formats.h"
#include "lib/inference/inference.h"
#include "lib/model/errors.h"

namespace {

using samplenet::Evidence;
using samplenet::Network;

const Network& asia() {
    static const Network network = samplenet::readNetwork(SAMPLENET_TEST_DATA "/networks/asia.bif.gz");
    return network;
}

int variable(const std::string& name) { return asia().indexOf(name).value(); }

samplenet::InferenceResult exactly(const Evidence& evidence) {
    samplenet::InferenceOptions options;
    options.algorithm = samplenet::Algorithm::Exact;
    return samplenet::infer(asia(), evidence, options);
}

struct Tally {
    std::vector<std::vector<double>> weighted;  // per variable and state
    double weights = 0.0, squares = 0.0;
    std::size_t rows = 0;
};

Tally draw(const Evidence& evidence, std::size_t count, std::uint64_t seed) {
    Tally tally;
    for (const auto& variable : asia().variables) tally.weighted.emplace_back(variable.states.size(), 0.0);
    samplenet::drawSamples(asia(), evidence, count, seed, {}, [&](const std::vector<int>& states, double weight) {
        for (int v = 0; v < asia().size(); ++v) tally.weighted[v][states[v]] += weight;
        tally.weights += weight;
        tally.squares += weight * weight;
        ++tally.rows;
        // either is the logical or of lung and tub: a state of probability
        // 0 is never drawn.
        EXPECT_EQ(states[variable("either")] == 0, states[variable("lung")] == 0 || states[variable("tub")] == 0);
    });
    return tally;
}

// Every state's (weighted) frequency lies within five standard errors of
// its exact probability, with the effective sample size where weighted.
void expectNearExact(const Tally& tally, const Evidence& evidence) {
    const auto exact = exactly(evidence).posteriors;
    const double effective = tally.weights * tally.weights / tally.squares;
    for (int v = 0; v < asia().size(); ++v)
        for (std::size_t s = 0; s < exact[v].size(); ++s) {
            const double p = exact[v][s];
            const double frequency = tally.weighted[v][s] / tally.weights;
            EXPECT_NEAR(frequency, p, 5 * std::sqrt(p * (1 - p) / effective) + 1e-12)
                << asia().variables[v].name << "=" << asia().variables[v].states[s];
        }
}

TEST(ForwardSampler, FrequenciesMatchTheExactMarginals) {
    const Tally tally = draw({}, 200000, 1);
    EXPECT_EQ(tally.rows, 200000u);
    EXPECT_EQ(tally.weights, 200000.0);  // every row of weight 1
    expectNearExact(tally, {});
}

// Likelihood weighting: observed nodes keep their state, the weighted
// frequencies are the posteriors and the mean weight is P(e).
TEST(ForwardSampler, WeightedRowsEstimateThePosteriorAndTheEvidence) {
    Evidence evidence;
    evidence.hard[variable("dysp")] = 0;
    evidence.likelihood[variable("xray")] = {0.9, 0.2};
    const Tally tally = draw(evidence, 200000, 2);
    EXPECT_EQ(tally.weighted[variable("dysp")][1], 0.0);
    expectNearExact(tally, evidence);
    const double pe = std::exp(*exactly(evidence).logProbabilityOfEvidence);
    const double mean = tally.weights / 200000, meanSquare = tally.squares / 200000;
    EXPECT_NEAR(mean, pe, 5 * std::sqrt((meanSquare - mean * mean) / 200000));
}

TEST(ForwardSampler, TheSameSeedGivesTheSameRows) {
    const auto rows = [](std::uint64_t seed, std::size_t count) {
        std::vector<int> all;
        samplenet::drawSamples(asia(), {}, count, seed, {},
                               [&](const std::vector<int>& states, double) { all.insert(all.end(), states.begin(), states.end()); });
        return all;
    };
    const std::vector<int> seven = rows(7, 500);
    EXPECT_EQ(seven, rows(7, 500));
    EXPECT_NE(seven, rows(8, 500));
    // The first rows of a longer run are the rows of a shorter one.
    EXPECT_EQ(std::vector<int>(seven.begin(), seven.begin() + 8 * 100), rows(7, 100));
}

TEST(ForwardSampler, RefusesBadEvidenceAndNamesTheWeightColumnApart) {
    Evidence bad;
    bad.hard[variable("asia")] = 5;
    EXPECT_THROW(samplenet::ForwardSampler(asia(), bad, 1), samplenet::EvidenceError);
    EXPECT_EQ(samplenet::weightColumnName(asia()), "weight");
    Network renamed = asia();
    renamed.variables[0].name = "weight";
    renamed.reindex();
    EXPECT_EQ(samplenet::weightColumnName(renamed), "weight_");
}

}  // namespace
