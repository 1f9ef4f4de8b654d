// EPIS-BN and AIS-BN on a random network of 2,000 nodes with 800 observed:
// the probability of the evidence is near 1e-330, so every sample's weight
// lies below double's range, and the samplers must carry it at a common
// scale to give an answer at all.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "lib/benchmark/accuracy_benchmark.h"
#include "lib/benchmark/evidence_cases.h"
#include "lib/exact/junction_tree.h"
#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "tests/support/sampling_options.h"

namespace {

using namespace samplenet;

constexpr int kSamples = 3000;

struct Case {
    Network network;
    Evidence evidence;
    ExactResult exact;
};

// An observation of a node of 2 to 4 states costs about 0.4 decimal orders
// of probability: 40% of 2,000 nodes take the evidence to about 1e-330.
Case observedCase(int maxParents) {
    Case c{randomNetwork({.nodes = 2000, .maxParents = maxParents, .locality = 4}), {}, {}};
    c.evidence = forwardSampledEvidence(c.network, 0.4, 1);
    c.exact = JunctionTree(c.network).infer(c.evidence);
    return c;
}

InferenceResult run(const Case& c, Algorithm algorithm) {
    return infer(c.network, c.evidence, testing_support::samplingOptions(algorithm, kSamples, 1));
}

// The mean weight estimates P(e): a natural log within 0.1 of exact inference's
// checks the scale the weights were summed at, not only their ratios.
void expectKeptOutsideDoubleAndExact(const Case& c, const InferenceResult& result) {
    ASSERT_TRUE(result.sampling.has_value());
    EXPECT_LT(c.exact.logProbabilityOfEvidence, std::log(0x1p-1022));
    EXPECT_EQ(result.sampling->outsideDouble, kSamples);
    EXPECT_EQ(result.sampling->lostToRange, 0);
    // 3,000 samples leave a mean Hellinger distance of 0.008 on these
    // networks (seeds 1 to 6); a sum that mixed up scales would be far off.
    EXPECT_LT(posteriorDistance(result.posteriors, c.exact.posteriors, c.evidence).mean, 0.015);
    EXPECT_NEAR(*result.logProbabilityOfEvidence, c.exact.logProbabilityOfEvidence, 0.1);
}

// A tree (one parent each): there propagation brings EPIS-BN's importance
// function close to the posterior, and its weights vary little.
TEST(ManyObservations, EpisMatchesExactInferenceWhereEveryWeightIsBelowDoublesRange) {
    const Case tree = observedCase(1);
    expectKeptOutsideDoubleAndExact(tree, run(tree, Algorithm::Epis));
}

// AIS-BN's learning stage sharpens its tables until, over 1,200 unobserved
// nodes with parents, a few samples carry all the weight: on the tree it is
// 0.4 to 0.6 from exact (mean Hellinger) with or without many observations.
// There it must still keep every sample. Where nodes have no parents its importance function matches the
// posterior and its answer can be held to the same bounds as EPIS-BN's.
TEST(ManyObservations, AisKeepsEverySampleAndMatchesExactInferenceOnIndependentNodes) {
    const Case tree = observedCase(1);
    const InferenceResult onTree = run(tree, Algorithm::Ais);
    ASSERT_TRUE(onTree.sampling.has_value());
    EXPECT_EQ(onTree.sampling->outsideDouble, kSamples);
    EXPECT_EQ(onTree.sampling->lostToRange, 0);
    // Weights that span many powers of two must be brought to one scale
    // before they are added, or the sums overflow and the beliefs are NaN.
    int unnormalised = 0;
    for (const auto& posterior : onTree.posteriors)
        if (!(std::abs(std::accumulate(posterior.begin(), posterior.end(), 0.0) - 1.0) < 1e-9)) ++unnormalised;
    EXPECT_EQ(unnormalised, 0);

    const Case independent = observedCase(0);
    expectKeptOutsideDoubleAndExact(independent, run(independent, Algorithm::Ais));
}

}  // namespace
