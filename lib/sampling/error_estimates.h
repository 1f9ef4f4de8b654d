#pragma once

#include <cstddef>
#include <vector>

#include "lib/sampling/sampling_plan.h"
#include "lib/sampling/weight_sums.h"

namespace samplenet {

// How far a sampling run's answers may be from the truth, from its sums of
// weights and squared weights. A posterior entry is a ratio of two weighted
// sums; its variance is the ratio estimator's (delta method):
// sum over samples of w^2 (1[state drawn] - p)^2 / (sum of w)^2.
struct ErrorEstimates {
    // Per node (in the plan's order) and state; 0 for observed nodes and
    // for those the run did not tally.
    std::vector<std::vector<double>> standardErrors;
    // Per entry of the joint table the plan tallies, if any.
    std::vector<double> jointStandardErrors;
    double largestStandardError = 0.0;
    // With 95% confidence every posterior entry (the joint's too) is within
    // this distance of the truth, all of them at once: the normal tails of
    // the entries' errors, added up over entries, come to 5% at this
    // distance; at most 1, and 1 (no bound) below kReliableSampleSize
    // effective samples.
    double errorBound = 0.0;
    // (sum of w)^2 / sum of w^2: how many unweighted samples the run is
    // worth. Below about 100 the error estimates themselves are unreliable.
    double effectiveSampleSize = 0.0;
    // Natural log of the mean weight, which estimates the probability of the
    // evidence (-inf when no sample had weight), and the mean's relative
    // standard error.
    double logMeanWeight = 0.0;
    double meanWeightRelativeError = 0.0;
};

// Below this effective sample size the error estimates are themselves too
// uncertain to trust.
constexpr double kReliableSampleSize = 100.0;
// Below this many effective samples reaching a state, its entry's spread is
// not trusted alone: its standard error is at least the share of the
// weight the missing samples would carry, and a state no sample reached
// gets the rule of three's error (see estimateErrors).
constexpr double kReliableStateSamples = 30.0;

// Where a run's weight sums hold each node's states, and its joint table's
// entries (none when jointEntries is 0).
struct SumLayout {
    struct Node {
        std::size_t firstSum;
        std::size_t stateCount;
        bool tallied;  // false: the node's errors are 0
    };
    std::vector<Node> nodes;
    std::size_t firstJointSum = 0;
    std::size_t jointEntries = 0;
};

// `threads` may share the error bound's arithmetic on a large network; the
// estimates are the same for any number.
ErrorEstimates estimateErrors(const SumLayout& layout, const WeightSums& sums, int threads = 1);
ErrorEstimates estimateErrors(const SamplingPlan& plan, const WeightSums& sums, int threads = 1);

}  // namespace samplenet
