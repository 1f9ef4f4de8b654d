#pragma once

#include "lib/inference/inference.h"

namespace samplenet {

// Importance sampling from whichever of two proposals suits the network:
// converged propagation refined from samples (bpis), which survives
// unlikely findings, or weighted mini-bucket elimination (wmb), which
// survives determinism. Each is first tried on a short pilot run of its own
// seed (15% of the time budget, at most a tenth of the samples); the
// winner draws the final samples, which alone give the answer. A credible
// pilot (kReliableSampleSize effective samples) beats one that drew nothing
// in its time, which beats one with fewer; of two credible ones, one whose
// samples met no dead end (exact importance weights) beats one that
// backtracked, else the more effective samples per second win; and a
// winner that found clearly less of the probability of the evidence than
// the other credible pilot has missed part of the posterior and loses.
// Where the credible pilot passed over and the final answer lie further
// apart than both 95% bounds allow, one of them is stuck in part of the
// posterior: the final bound grows to cover their difference (and a target
// counts as missed). Final samples that met dead ends (backtracking)
// carry approximate weights whose bias no spread shows: they give no bound
// (1) and no met target. result.choice says what the pilots measured. Given
// --max-seconds and no sample count it draws to a target error (0.01 by
// default).
//
// Takes a network and evidence that infer() has checked. Throws what the
// final run throws (see inferByPropagatedImportance, inferByMiniBuckets).
InferenceResult inferByPilotedProposal(const Network& network, const Evidence& evidence,
                                       const InferenceOptions& options);

}  // namespace samplenet
