#pragma once

#include "lib/inference/inference_errors.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/sampling/job_share.h"

namespace samplenet {

// EPIS-BN, AIS-BN or LBP on the engine, for a network and evidence already
// checked. Throws InferenceError when no sample got weight or propagation
// collapsed. EPIS-BN's and AIS-BN's final samples are drawn by `elsewhere`
// when given, as options.jobs shares.
InferenceResult engineRun(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                          ShareDrawer* elsewhere = nullptr);

}  // namespace samplenet
