#pragma once

#include "lib/inference/inference_errors.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/sampling/job_share.h"

namespace samplenet {

// infer() for a named algorithm (not auto), options already checked: checks
// the network and evidence, then runs. The result's settings are `options`.
// EPIS-BN's and AIS-BN's final samples are drawn by `elsewhere` when given.
InferenceResult runNamedAlgorithm(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                  ShareDrawer* elsewhere = nullptr);

}  // namespace samplenet
