#include "engine/random_state.h"
#include "engine/sampler_steps.h"
#include "engine/samplenet.h"

namespace {

constexpr double kInitialLearningRate = 0.4;
constexpr int kLearningSamples = 25000;
constexpr int kUpdateInterval = 2500;

}  // namespace

int SampleNet::BN_AIS_Sampling() {
    learningRate = kInitialLearningRate;
    engine_random::SeedFromHostClock();
    if (nodeCount > 0) {
        SetTotalTableToZero();
        InitAllWeights();
        for (int i = 0; i < nodeCount; ++i)
            if (nodes[i]->evidence < 0) InitNormalizedTable(i, false);
        // After the pass above, so that parents of evidence end uniform.
        for (int i = 0; i < nodeCount; ++i) {
            const SampleNode& node = *nodes[i];
            if (node.evidence < 0) continue;
            for (int p = 0; p < node.parents.numElements; ++p) InitNormalizedTable(node.parents[p], true);
        }
    }

    for (int k = 1; k <= kLearningSamples; ++k) {
        AddImportantTable(OneImportanceSample(), false);
        if (k % kUpdateInterval == 0) UpdateNormalizedTable();
    }

    if (nodeCount > 0) SetTotalTableToZero();
    sampler_steps::DrawFinalSamples(*this);
    return sampler_steps::WriteBeliefs(*this);
}
