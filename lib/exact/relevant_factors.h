#pragma once

#include <vector>

#include "lib/exact/evidence_weights.h"
#include "lib/exact/factor_model.h"
#include "lib/model/network.h"

namespace samplenet {

// The part of a network that a query needs given the evidence, as a product
// of tables:
// - variables that are neither queried nor observed nor ancestors of either
//   sum out to 1 and are left out with their tables;
// - a variable observed in a single state leaves every table it is in, which
//   keeps only that state's slice (a table left with no variable is a
//   constant, gathered in logScale);
// - the rest is renumbered 0..n-1 in the network's order.
// What the evidence separates from the queried variables falls into
// components of its own: the junction tree only collects from them, for the
// probability of the evidence, and distributes nothing into them.
class RelevantFactors {
public:
    // `queried` marks network variables (all of them when it is empty). Throws
    // EvidenceError when the evidence has probability 0 in a table it empties.
    RelevantFactors(const Network& network, const EvidenceWeights& weights, const std::vector<char>& queried);
    // The factors point into the sliced tables kept here.
    RelevantFactors(const RelevantFactors&) = delete;
    RelevantFactors& operator=(const RelevantFactors&) = delete;

    FactorModel model;
    std::vector<int> original;     // model variable -> network variable
    EvidenceWeights weights;       // by model variable: the evidence not absorbed (likelihoods)
    std::vector<char> queried;     // by model variable
    std::vector<int> observed;     // by network variable: the single state evidence allows, or -1
    double logScale = 0.0;         // of the constants taken out, and of the absorbed evidence's weights

private:
    std::vector<std::vector<double>> slices;
};

}  // namespace samplenet
