#pragma once

#include <nlohmann/json.hpp>

#include "lib/inference/inference_result.h"

namespace samplenet {

// What "converged" means wherever an output reports it: loopy belief
// propagation stops where its messages stop changing, which may be far from
// the posteriors.
extern const char* const kConvergedMeans;

// The keys that describe a run, in the order every JSON output gives them:
// the algorithm that ran (for auto, the step that answered) and why, its
// settings and diagnostics (iterations and convergence for lbp, P(evidence)
// for exact, samples, effective sample size, error bound, reliability,
// target, seed for the samplers), then the seconds it took.
void addRunJson(nlohmann::ordered_json& json, const InferenceResult& result);

}  // namespace samplenet
