#pragma once

#include "lib/inference/inference.h"
#include "lib/inference/network_adapter.h"
#include "lib/sampling/sampling_plan.h"

namespace samplenet {

// Refuses queried variables and a joint posterior that name a variable the
// network lacks, a joint posterior that names one twice
// (std::invalid_argument), or whose table the samplers' jobs could not hold
// within the memory limit (NetworkTooLargeError).
void checkTallies(const Network& network, const InferenceOptions& options);

// What a sampling run adds up for the options, by the adapter's engine
// indices: the queried variables' posteriors (every one's when none is
// queried) and the joint posterior the options ask for.
SamplingPlan::Tallies talliesFor(const QuerySelection& query, const NetworkAdapter& adapter);

// Moves what a sampling run added up for the options into the result: the
// joint posterior, and only the queried variables' posteriors, as valid.
void keepTallied(const QuerySelection& query, const SamplingReport& report, InferenceResult& result);

}  // namespace samplenet
