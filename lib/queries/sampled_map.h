#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/queries/most_probable_explanation.h"

namespace samplenet {

// Chosen nodes beyond this many are refused: every move of the search
// estimates P(x, e) once per other state of every chosen node.
constexpr int kMostSampledMapNodes = 64;

// What the search for sampled most probable states did.
struct SampledMapReport {
    int candidates = 0;   // configurations the search started from
    int scored = 0;       // configurations whose P(x, e) a sampling run estimated
    int moves = 0;        // moves accepted, from every start
    bool localOptimum = true;  // false when the time budget ended the search
    double missedShare = 0.0;  // of the candidates run's weight, in configurations the table had no room for
    // The candidates run: what its samples did, for the user to judge them.
    std::optional<SamplingReport> sampling;
    std::string how;  // the method in a sentence
};

struct SampledMap {
    Explanation explanation;  // exact = false; states -1 but for the chosen nodes
    SampledMapReport report;
};

// The jointly most probable states of chosen variables given the evidence,
// every other variable summed out, approximately, by the options' sampler
// (epis, ais, bpis or wmb): candidates are the configurations of the chosen
// variables that the samples give the most weight (for wmb, which shows no
// samples, the most probable state of each by its marginal); from each, a
// local search moves one variable at a time to the configuration whose
// P(x, e), estimated by a sampling run with x added to the evidence, is
// higher beyond the two estimates' errors, and stops where none is or once
// the time budget (maxSeconds, else a minute) is spent. The three
// configurations of the highest estimates are then scored again with the
// next seed, and the answer is the best by their estimates pooled (with the
// candidates run's too, where it saw them), so that an estimate high by
// luck alone does not decide.
//
// logJoint is that estimate of ln P(x, e), logPosterior it less the
// estimated ln P(e); their standard errors are logJointError and
// logPosteriorError. Throws std::invalid_argument for an algorithm that
// does not sample or above kMostSampledMapNodes chosen unobserved variables,
// EvidenceError for an unknown variable or one named twice, and what infer()
// throws.
// `searchSeconds`, when given, is the search's time budget in place of
// maxSeconds (which then bounds each run alone).
SampledMap sampledMaximumAPosteriori(const Network& network, const Evidence& evidence,
                                     const std::vector<int>& variables, const InferenceOptions& options,
                                     std::optional<double> searchSeconds = std::nullopt);

}  // namespace samplenet
