#pragma once

#include <vector>

namespace samplenet {

// One estimated distribution over a variable's states, and the standard
// error of each entry (empty when it is exact). Its entries sum to 1.
struct EstimatedDistribution {
    std::vector<double> probabilities;
    std::vector<double> standardErrors;
};

// Entropy in bits.
double entropyBits(const std::vector<double>& distribution);

// The standard error of a smooth function of independently estimated
// distributions, by the delta method from the function's gradient with
// respect to each distribution's entries. The entries of one distribution
// are correlated in ways their standard errors do not tell, so their
// contributions are added in absolute value (a bound whatever the
// correlation), after shifting the gradient by the constant that makes that
// bound least (any shift is allowed, as the entries sum to 1).
// Distributions are independent runs: their contributions add in quadrature.
double linearisedError(const std::vector<std::vector<double>>& gradients,
                       const std::vector<const EstimatedDistribution*>& distributions);

// What observing a candidate C would tell about a target T given the
// evidence, from P(T | e) and, for each target state t, P(C | e, T = t)
// (with no entries where P(t | e) = 0).
struct CandidateInformation {
    double mutualInformationBits = 0.0;
    // Sampled input only: the first-order (delta method) error of the
    // mutual information, with the expected size of its second-order term
    // added in quadrature. That term is the estimate's upward bias, which
    // dominates where C tells little about T, where the first-order error
    // vanishes.
    double mutualInformationError = 0.0;
    // P(C = c | e), and its standard errors (empty when exact).
    EstimatedDistribution candidate;
    // targetGiven[c] = P(T | e, C = c), empty where P(C = c | e) = 0.
    std::vector<EstimatedDistribution> targetGiven;
};
CandidateInformation candidateInformation(const EstimatedDistribution& target,
                                          const std::vector<EstimatedDistribution>& candidateGivenTarget);

}  // namespace samplenet
