#pragma once

class SampleNet;

namespace posterior_tables {

// After the evidence pre-propagation: every node's importance table becomes
// its conditional table weighed by the node's final lambda, normalised per
// parent configuration, and cut off at the host's epsilon for unobserved
// ancestors of evidence.
void Build(SampleNet& net);

}  // namespace posterior_tables
