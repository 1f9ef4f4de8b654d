#pragma once

class SampleNet;

// Synchronous lambda/pi message passing, shared by loopy belief propagation
// and by the evidence pre-propagation of EPIS-BN. Every message computed in
// one iteration is read only in the next, so node order does not matter.
namespace propagation {

// What a belief with no mass does to the run.
enum class OnEmptyBelief { Fail, MakeUniform };

// Clears the accumulators, resets weights and all message buffers.
void Prepare(SampleNet& net);

// Runs `iterations` rounds of node updates and rotations. Returns 0, or -26
// at the first belief with no mass when `onEmpty` is Fail.
int Run(SampleNet& net, int iterations, OnEmptyBelief onEmpty);

// How LBP ends: every node's last belief, normalised, to the host.
void HandOverBeliefs(SampleNet& net);

}  // namespace propagation
