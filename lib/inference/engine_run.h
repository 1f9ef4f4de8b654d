#pragma once

#include "lib/inference/inference_errors.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// EPIS-BN, AIS-BN or LBP on the engine, for a network and evidence already
// checked. Throws InferenceError when no sample got weight or propagation
// collapsed.
InferenceResult engineRun(const Network& network, const Evidence& evidence, const InferenceOptions& options);

}  // namespace samplenet
