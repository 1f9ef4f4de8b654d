#pragma once

class SampleNet;

namespace posterior_tables {

// After the evidence pre-propagation: every node's importance table becomes
// its conditional table weighed by the node's final lambda, normalised per
// parent configuration, and cut off at the host's epsilon for unobserved
// ancestors of evidence. Needs the importance tables made.
void Build(SampleNet& net);

// Build's two steps, for a host that keeps no importance tables: every
// node's final lambda (lambdaPrev), from the propagation's messages, which
// are not read afterwards; then one node's importance table, from its
// final lambda alone, written to `table` (as many entries as its
// conditional table). Nodes may be built side by side.
void FormFinalLambdas(SampleNet& net);
void BuildInto(const SampleNet& net, int node, double* table);

}  // namespace posterior_tables
