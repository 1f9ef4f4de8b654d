#include "lib/inference/loopy_propagation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "engine/propagation.h"
#include "engine/samplenet.h"

namespace samplenet {

namespace {

// Every node's beliefs of the last iteration, one after the other.
void copyBeliefs(const SampleNet& net, std::vector<double>& out) {
    out.clear();
    for (int i = 0; i < net.nodeCount; ++i) {
        const SampleNode& node = *net.nodes[i];
        out.insert(out.end(), node.beliefPrev(), node.beliefPrev() + node.numStates);
    }
}

}  // namespace

int runLoopyPropagation(SampleNet& net, std::optional<double> tolerance, PropagationReport& report) {
    const int most = net.adapter->GetEPISParams()->propagationLength;
    report = PropagationReport{};
    if (!tolerance) {
        report.iterations = most;
        return net.LBP();
    }
    if (net.nodeCount <= 0) return 0;
    propagation::Prepare(net);
    std::vector<double> before;
    std::vector<double> after;
    copyBeliefs(net, before);
    while (report.iterations < most) {
        // Iterations one at a time are the same iterations as in one call.
        const int result = propagation::Run(net, 1, propagation::OnEmptyBelief::Fail);
        if (result != 0) return result;
        ++report.iterations;
        copyBeliefs(net, after);
        report.lastChange = 0.0;
        for (std::size_t k = 0; k < after.size(); ++k)
            report.lastChange = std::max(report.lastChange, std::abs(after[k] - before[k]));
        std::swap(before, after);
        if (report.lastChange < *tolerance) {
            report.converged = true;
            break;
        }
    }
    propagation::HandOverBeliefs(net);
    return 0;
}

}  // namespace samplenet
