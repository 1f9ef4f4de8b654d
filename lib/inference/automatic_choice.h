#pragma once

#include <string>

#include "lib/inference/inference.h"

namespace samplenet {

// What `-a auto` ran: the result, the options of the run that produced it,
// and why that algorithm.
struct AutomaticRun {
    InferenceResult result;
    InferenceOptions used;
};

// Whether exact inference is quick for this query: whether the junction
// tree it would build (over what the evidence and the queried variables
// need) fits the options' memory limit and its predicted time the budget
// (the options' time budget, or 10 s), and the figures that decided ("the
// junction tree holds N table entries ...").
struct ExactVerdict {
    bool quick;
    std::string why;
};
ExactVerdict judgeExactInference(const Network& network, const Evidence& evidence, const InferenceOptions& options);

// Exact inference where it is quick (judgeExactInference); otherwise EPIS-BN with a precision target
// (the options' target, or 0.01); when EPIS-BN gets no compatible sample, a
// longer propagation, then loopy belief propagation. The result's `choice`
// says what was done and why. Throws as infer() does when every step fails.
AutomaticRun inferAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options);

// The steps after exact inference was judged too slow for the reason given:
// EPIS-BN with a precision target, a longer propagation, then LBP.
AutomaticRun sampleAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                 const std::string& tooLarge);

}  // namespace samplenet
