#pragma once

#include <string>

#include "lib/inference/inference_errors.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

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

// What infer() does for auto: exact inference where it is quick
// (judgeExactInference); otherwise the samplers to a precision target (the
// options' target, or 0.01), escalating while their answers are unreliable,
// then loopy belief propagation. The result's settings are those of the
// step that answered, its `choice` says what was done and why. Throws as
// infer() does when every step fails.
InferenceResult inferAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options);

// The steps after exact inference was judged too slow for the reason given.
InferenceResult sampleAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                 const std::string& tooLarge);

}  // namespace samplenet
