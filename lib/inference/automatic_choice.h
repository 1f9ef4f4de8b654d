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

// Whether exact inference is quick on this network within the options'
// memory limit, and why or why not ("the junction tree holds N table
// entries", "the junction tree exceeds the memory limit", ...).
struct ExactVerdict {
    bool quick;
    std::string why;
};
ExactVerdict judgeExactInference(const Network& network, const InferenceOptions& options);

// Exact inference when the junction tree fits the memory limit and holds
// few enough entries to be quick; otherwise EPIS-BN with a precision target
// (the options' target, or 0.01); when EPIS-BN gets no compatible sample, a
// longer propagation, then loopy belief propagation. The result's `choice`
// says what was done and why. Throws as infer() does when every step fails.
AutomaticRun inferAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options);

// The steps after exact inference was judged too slow for the reason given:
// EPIS-BN with a precision target, a longer propagation, then LBP.
AutomaticRun sampleAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                 const std::string& tooLarge);

}  // namespace samplenet
