#pragma once

class SampleNet;

// Steps shared by the two importance samplers.
namespace sampler_steps {

// Everything BN_EPIS_Sampling does before its final samples: the evidence
// pre-propagation, the importance tables, cleared accumulators, initial
// weights and the seed. A host that draws the final samples itself starts
// from here and from the generator's current seed.
void PrepareEpis(SampleNet& net);
// Its two parts, in this order: the seed and the propagation of the
// evidence, then the importance tables and cleared accumulators.
void PropagateEvidence(SampleNet& net);
void BuildImportanceTables(SampleNet& net);

// Everything BN_AIS_Sampling does before its final samples: the seed, the
// heuristic tables and the learning stage, with cleared accumulators.
void PrepareAis(SampleNet& net);

// Draws the host's requested number of samples from the current importance
// tables, asking the host for the count before every sample.
void DrawFinalSamples(SampleNet& net);

// Normalises every node's weights and hands them to the host in index order.
// Returns -5 at the first node whose weights have no mass; nodes before it
// have been handed over and marked valid, it and later nodes have not.
int WriteBeliefs(SampleNet& net);

}  // namespace sampler_steps
