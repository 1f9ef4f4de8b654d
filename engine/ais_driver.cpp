#include "engine/random_state.h"
#include "engine/sampler_steps.h"
#include "engine/samplenet.h"

namespace {

constexpr double kInitialLearningRate = 0.4;
constexpr int kLearningSamples = 25000;
constexpr int kUpdateInterval = 2500;

}  // namespace

void sampler_steps::PrepareAis(SampleNet& net) {
    net.learningRate = kInitialLearningRate;
    net.CreateImportanceTables();
    net.CreateLearningTables();
    engine_random::SeedFromHostClock();
    if (net.nodeCount > 0) {
        net.SetTotalTableToZero();
        net.InitAllWeights();
        for (int i = 0; i < net.nodeCount; ++i)
            if (net.nodes[i]->evidence < 0) net.InitNormalizedTable(i, false);
        // After the pass above, so that parents of evidence end uniform.
        for (int i = 0; i < net.nodeCount; ++i) {
            const SampleNode& node = *net.nodes[i];
            if (node.evidence < 0) continue;
            for (int p = 0; p < node.parents.numElements; ++p) net.InitNormalizedTable(node.parents[p], true);
        }
    }

    for (int k = 1; k <= kLearningSamples; ++k) {
        net.adapter->Checkpoint();
        net.AddImportantTable(net.OneImportanceSample(), false);
        if (k % kUpdateInterval == 0) net.UpdateNormalizedTable();
    }

    if (net.nodeCount > 0) net.SetTotalTableToZero();
}

int SampleNet::BN_AIS_Sampling() {
    sampler_steps::PrepareAis(*this);
    sampler_steps::DrawFinalSamples(*this);
    return sampler_steps::WriteBeliefs(*this);
}
