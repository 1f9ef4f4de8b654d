#pragma once

class SampleNet;

namespace samplenet {

// Frees, once the importance tables are built, every node's propagation
// messages and vectors and its learning sums: a run that draws its final
// samples from a sampling plan never reads them again, and on large networks
// they take more room than the tables. The importance tables stay for the
// plan; the sampled weights stay for the write-back of beliefs.
void releasePropagationBuffers(SampleNet& net);

}  // namespace samplenet
