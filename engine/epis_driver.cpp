#include "engine/posterior_tables.h"
#include "engine/propagation.h"
#include "engine/random_state.h"
#include "engine/sampler_steps.h"
#include "engine/samplenet.h"

void sampler_steps::PrepareEpis(SampleNet& net) {
    PropagateEvidence(net);
    BuildImportanceTables(net);
}

void sampler_steps::PropagateEvidence(SampleNet& net) {
    propagation::Prepare(net);
    engine_random::SeedFromHostClock();
    int iterations = net.adapter->GetDepthOfNet();
    const int configured = net.adapter->GetEPISParams()->propagationLength;
    if (iterations > configured) iterations = configured;
    // Only the lambda messages the propagation leaves behind are used, so an
    // empty belief on the way is harmless.
    propagation::Run(net, iterations, propagation::OnEmptyBelief::MakeUniform);
}

void sampler_steps::BuildImportanceTables(SampleNet& net) {
    net.CreateImportanceTables();
    posterior_tables::Build(net);
    if (net.nodeCount > 0) net.SetTotalTableToZero();
}

int SampleNet::BN_EPIS_Sampling() {
    sampler_steps::PrepareEpis(*this);
    sampler_steps::DrawFinalSamples(*this);
    return sampler_steps::WriteBeliefs(*this);
}
