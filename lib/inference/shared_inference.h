#pragma once

#include "lib/inference/inference.h"
#include "lib/sampling/job_share.h"

namespace samplenet {

// infer() with EPIS-BN or AIS-BN whose final samples `drawer` draws as
// options.jobs shares, typically in other processes: the preparation (the
// importance tables, the sampling plan) and the answer are computed here,
// each share's samples by the drawer. The results equal infer()'s with the
// same options bit for bit. The time budget and cancellation are looked at
// between rounds of shares. Throws std::invalid_argument for another
// algorithm or for best samples; otherwise as infer().
InferenceResult inferOnShares(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                              ShareDrawer& drawer);

}  // namespace samplenet
