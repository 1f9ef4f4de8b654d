#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lib/impact/information_measures.h"
#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// What observing one candidate variable would tell about the target.
struct CandidateImpact {
    int variable = -1;
    // The mutual information of candidate and target given the evidence:
    // the expected fall of the target's entropy once the candidate is
    // observed.
    double mutualInformationBits = 0.0;
    // Sampled runs only (see CandidateInformation).
    std::optional<double> standardError;
    // P(candidate | evidence), and, for each of its states c,
    // P(target | evidence, candidate = c) (empty where c is impossible).
    EstimatedDistribution probabilities;
    std::vector<EstimatedDistribution> targetGiven;
};

struct EvidenceImpact {
    int target = -1;
    EstimatedDistribution targetPosterior;  // P(target | evidence)
    double targetEntropyBits = 0.0;
    std::vector<CandidateImpact> candidates;  // most informative first
    // The options of the runs: with Algorithm::Auto, those of what it
    // chose, and `choice` says why.
    InferenceOptions used;
    std::string choice;
    int runs = 0;
    double seconds = 0.0;
    // Why some sampled run cannot be taken as printed; empty when none.
    std::vector<std::string> warnings;
};

// The unobserved variables other than the target, in network order: every
// variable without hard evidence, except the target and those in `excluded`.
std::vector<int> unobservedCandidates(const Network& network, const Evidence& evidence, int target,
                                      const std::vector<int>& excluded);

// Ranks the candidates by their mutual information with the target given
// the evidence. One run gives P(target | evidence); one more for each target
// state t of positive probability gives P(candidate | evidence, target = t)
// for every candidate at once. Every run uses the options' algorithm (with
// Auto, the one it chose for the first run); sampling runs after the first
// draw with seeds derived from the first's, so that their errors are
// independent. Throws EvidenceError for an observed target or a candidate
// that is observed or the target, and whatever infer() throws.
EvidenceImpact evidenceImpact(const Network& network, const Evidence& evidence, int target,
                              const std::vector<int>& candidates, const InferenceOptions& options);

}  // namespace samplenet
