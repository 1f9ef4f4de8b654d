#pragma once

#include <optional>

class SampleNet;

namespace samplenet {

// How a run of loopy belief propagation went.
struct PropagationReport {
    int iterations = 0;
    // Largest change of any belief in the last iteration.
    double lastChange = 0.0;
    bool converged = false;
};

// Loopy belief propagation on a network prepared with
// SetParameterForImportanceSampling, for at most the host's iteration count.
// With a tolerance it stops after the first iteration in which no belief
// changed by more than it; without, it is the engine's own LBP. Returns the
// engine's result (0, or -26 when a belief lost all its mass).
int runLoopyPropagation(SampleNet& net, std::optional<double> tolerance, PropagationReport& report);

}  // namespace samplenet
