#include "lib/inference/inference.h"

#include "lib/inference/automatic_choice.h"
#include "lib/inference/named_run.h"
#include "lib/inference/option_registry.h"

namespace samplenet {

InferenceResult infer(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    checkOptions(options);
    // Each step of the automatic choice checks what it runs.
    if (options.algorithm == Algorithm::Auto) return inferAutomatically(network, evidence, options);
    return runNamedAlgorithm(network, evidence, options);
}

}  // namespace samplenet
