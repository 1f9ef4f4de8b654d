#include "engine/sampler_steps.h"

#include "engine/samplenet.h"

namespace sampler_steps {

void DrawFinalSamples(SampleNet& net) {
    for (int drawn = 0; drawn < net.adapter->GetNumberOfSamples(); ++drawn)
        net.AddWeight(net.OneImportanceSample());
}

int WriteBeliefs(SampleNet& net) {
    for (int i = 0; i < net.nodeCount; ++i) {
        SampleNode& node = *net.nodes[i];
        const double total = node.NormalizeWeight();
        if (node.numStates < 1 || !(total > 0.0)) {
            // The host learns of the failing node through repeated marks of it.
            for (int k = 0; k <= i; ++k) net.adapter->SetValueValid(i);
            return -5;
        }
        node.WriteBeliefsDirectBack(net.adapter->GetBeliefs(i));
        net.adapter->SetValueValid(i);
    }
    return 0;
}

}  // namespace sampler_steps
