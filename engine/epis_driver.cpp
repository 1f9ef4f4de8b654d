#include "engine/posterior_tables.h"
#include "engine/propagation.h"
#include "engine/random_state.h"
#include "engine/sampler_steps.h"
#include "engine/samplenet.h"

int SampleNet::BN_EPIS_Sampling() {
    propagation::Prepare(*this);
    engine_random::SeedFromHostClock();
    int iterations = adapter->GetDepthOfNet();
    const int configured = adapter->GetEPISParams()->propagationLength;
    if (iterations > configured) iterations = configured;
    // Only the lambda messages the propagation leaves behind are used, so an
    // empty belief on the way is harmless.
    propagation::Run(*this, iterations, propagation::OnEmptyBelief::MakeUniform);
    posterior_tables::Build(*this);
    if (nodeCount > 0) SetTotalTableToZero();
    sampler_steps::DrawFinalSamples(*this);
    return sampler_steps::WriteBeliefs(*this);
}
