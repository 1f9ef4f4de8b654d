#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "lib/model/network.h"

namespace samplenet {

struct SequentialPropagationSettings {
    // Sweeps over all families at most; fewer once no message moves by more
    // than `tolerance` in a sweep.
    int mostSweeps = 1000;
    double tolerance = 1e-9;
    // A message becomes damping * old + (1 - damping) * new.
    double damping = 0.0;
    // Seeds the order of the families in each sweep.
    std::uint64_t seed = 1;
    // Called between family updates; returning false ends propagation where
    // it stands (it may throw to cancel).
    std::function<bool()> keepGoing;
};

// What propagation left each variable: per included variable, the product
// of the messages its children's families send it (normalised to sum 1),
// which weighs its states by the evidence below it; empty for the others.
struct ChildMessages {
    std::vector<std::vector<double>> lambda;
    int sweeps = 0;
    bool converged = false;
};

// Belief propagation on the factor graph of the families of the `included`
// variables (a set closed under parents), the `observed` ones (state or -1)
// clamped: family by family in an order shuffled each sweep, every family
// sending all its messages from the latest ones it was sent. Unlike the
// synchronous schedule it converges on most networks, and damping helps
// where it does not. A family that finds no state compatible with what it
// was sent (loopy propagation can, on possible evidence) keeps its last
// messages.
ChildMessages propagateSequentially(const Network& network, const std::vector<int>& observed,
                                    const std::vector<char>& included, const SequentialPropagationSettings& settings);

}  // namespace samplenet
