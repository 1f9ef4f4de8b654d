#pragma once

#include "lib/inference/inference.h"

namespace samplenet {

// Importance sampling from whichever of two proposals suits the network:
// converged propagation refined from samples (bpis), which survives
// unlikely findings, or weighted mini-bucket elimination (wmb), which
// survives determinism. Each is first tried on a short pilot run (its own
// seed, a share of the time budget or a tenth of the samples); the one that
// would give the most effective samples in the time left draws the final
// samples, which alone give the answer. A pilot that found clearly less of
// the probability of the evidence than the other is taken to have missed
// part of the posterior and is passed over. When the pilot passed over
// gave a credible answer that the final one contradicts beyond their
// standard errors, one of them is stuck in part of the posterior: the
// final error bound then grows to cover their difference (and the answer
// is marked as missing its target). result.choice says what the pilots
// measured.
//
// Takes a network and evidence that infer() has checked. Throws what the
// final run throws (see inferByPropagatedImportance, inferByMiniBuckets).
InferenceResult inferByPilotedProposal(const Network& network, const Evidence& evidence,
                                       const InferenceOptions& options);

}  // namespace samplenet
