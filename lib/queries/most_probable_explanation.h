#pragma once

#include <vector>

#include "lib/exact/junction_tree.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// A complete assignment of the network's variables that agrees with the
// hard evidence, and how probable it is.
struct Explanation {
    std::vector<int> states;  // per variable
    double logJoint;          // natural log of P(states, evidence)
    // Natural log of P(states | evidence); from the samplers' estimate of
    // P(evidence) when the explanation is not exact.
    double logPosterior;
    // False for the samplers' best sample: P(states, evidence) is then a
    // lower bound on the most probable explanation's.
    bool exact = true;
    int searchChanges = 0;  // variables the local search changed
    // Most probable states of chosen variables found by sampling: logJoint
    // and logPosterior are estimates, with these standard errors.
    bool estimated = false;
    double logJointError = 0.0;
    double logPosteriorError = 0.0;
};

// The most probable explanation of the evidence, exactly: max-product
// elimination over the network's tables. Of several equally probable
// explanations it returns the one whose variables, taken in the reverse
// order of elimination, each take their lowest such state. Throws
// EvidenceError for impossible evidence and ExactMemoryError above the
// memory limit.
Explanation mostProbableExplanation(const Network& network, const Evidence& evidence,
                                    const ExactOptions& options = {});

// A search for explanations moves only where log P(x, e) rises by more than
// this. Equally probable states can score apart by rounding, the other way
// round in another move's sum of families: on hailfinder a variable flipped
// between two such states for ever.
constexpr double kLeastExplanationGain = 1e-9;

// Natural log of the factors of P(states, evidence) that involve variable v:
// its own table's entry and its likelihood.
double logFamilyProbability(const Network& network, const Evidence& evidence, const std::vector<int>& states, int v);

// Natural log of P(states, evidence) for a complete assignment, -inf where
// it is impossible: the product of every table's entry for the assignment
// and of the likelihoods of its states.
double logJointProbability(const Network& network, const Evidence& evidence, const std::vector<int>& states);

}  // namespace samplenet
