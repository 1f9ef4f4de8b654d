#pragma once

#include "lib/inference/inference_errors.h"
#include "lib/inference/inference_options.h"
#include "lib/inference/inference_result.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// Posterior marginals of every variable. Throws ModelError for a network
// that fails validate(), NetworkTooLargeError (or ExactMemoryError) for one
// above the memory limit, std::invalid_argument for bad options,
// EvidenceError for malformed evidence, InferenceError when inference fails,
// RunCancelled when options.cancellation stops it. Any thread may call it:
// runs of EPIS, AIS and LBP take turns through the engine lock (the engine's
// random state and clock are process-wide), exact runs go side by side.
InferenceResult infer(const Network& network, const Evidence& evidence, const InferenceOptions& options);

}  // namespace samplenet
