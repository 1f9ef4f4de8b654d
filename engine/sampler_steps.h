#pragma once

class SampleNet;

// Steps shared by the two importance samplers.
namespace sampler_steps {

// Draws the host's requested number of samples from the current importance
// tables, asking the host for the count before every sample.
void DrawFinalSamples(SampleNet& net);

// Normalises every node's weights and hands them to the host in index order.
// Returns -5 at the first node whose weights have no mass; nodes before it
// have been handed over and marked valid, it and later nodes have not.
int WriteBeliefs(SampleNet& net);

}  // namespace sampler_steps
