#pragma once

#include "lib/inference/inference.h"

namespace samplenet {

// Importance sampling whose importance tables come from belief propagation
// run to convergence with a sequential, damped schedule over the evidence
// and its ancestors: a variable's table is its own table times the
// messages its children's families send it, each state kept at least at
// the epsilon of its state count (options.epis) so that no state the model
// allows becomes unreachable. Other variables are drawn from their own
// tables. Then ten rounds of samples refine the tables of the evidence's
// ancestors towards the posteriors given their parents that the rounds'
// weights estimate, which mends what propagation got wrong (it is not exact
// on loopy networks); the final samples, drawn from the refined tables,
// alone give the answer. Propagation gets at most a fifth of the time
// budget, propagation and refinement together half. Once a round loses most
// of its samples to zero entries the tables cannot see (determinism), the
// rounds after it and the final samples are drawn with backtracking over
// the zeros (BacktrackingPlanSampler), whose weights leave out the dead ends
// no sample met.
//
// Takes a network and evidence that infer() has checked. Throws
// NetworkTooLargeError when its tables and messages exceed the memory limit,
// InferenceError when no sample had weight or no assignment is consistent
// with the evidence, std::invalid_argument for a
// joint posterior or best samples (not supported), RunCancelled when stopped.
InferenceResult inferByPropagatedImportance(const Network& network, const Evidence& evidence,
                                            const InferenceOptions& options);

}  // namespace samplenet
