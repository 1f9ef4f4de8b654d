#include "lib/sampling/sampling_plan.h"

#include <algorithm>

#include "engine/samplenet.h"

namespace samplenet {

SamplingPlan::SamplingPlan(const SampleNet& net, const Tallies& tallies) {
    std::vector<bool> tallied(net.nodeCount, tallies.nodes.empty());
    for (int node : tallies.nodes) tallied.at(node) = true;
    nodes.reserve(net.nodeCount);
    for (int i = 0; i < net.nodeCount; ++i) {
        const SampleNode& node = *net.nodes[i];
        const auto states = static_cast<std::size_t>(node.numStates);
        const std::size_t columns = states == 0 ? 0 : static_cast<std::size_t>(node.cpt->data.numElements) / states;
        Node planned{node.evidence,
                     static_cast<std::uint32_t>(node.numStates),
                     static_cast<std::uint32_t>(parents.size()),
                     static_cast<std::uint32_t>(node.numParents),
                     node.evidence >= 0 ? likelihoods.size() : entries.size(),
                     fallbacks.size(),
                     sumCount,
                     node.evidence < 0 && tallied[i]};
        for (int k = 0; k < node.numParents; ++k) {
            parents.push_back(static_cast<std::uint32_t>(node.parents[k]));
            columnStrides.push_back(static_cast<std::uint32_t>(node.parentStrides[k + 1]));
        }
        const double* probability = node.cpt->data.data;
        if (node.evidence >= 0) {
            for (std::size_t q = 0; q < columns; ++q) likelihoods.push_back(probability[q * states + node.evidence]);
        } else {
            ++drawnNodes;
            const double* importance = node.importanceTable->data.data;
            for (std::size_t q = 0; q < columns; ++q) {
                double sum = 0.0;
                std::int32_t fallback = -1;
                for (std::size_t s = 0; s < states; ++s) {
                    const std::size_t at = q * states + s;
                    sum += importance[at];
                    // Never read for an impossible state: a draw cannot land there.
                    const double ratio = importance[at] == 0.0 ? 0.0 : probability[at] / importance[at];
                    entries.push_back({sum, ratio});
                    if (importance[at] != 0.0) fallback = static_cast<std::int32_t>(s);
                }
                fallbacks.push_back(fallback);
            }
        }
        sumCount += states;
        widestNode = std::max(widestNode, node.numStates);
        nodes.push_back(planned);
    }
    firstJointSum = sumCount;
    jointNodes.assign(tallies.joint.begin(), tallies.joint.end());
    jointStrides.resize(jointNodes.size());
    jointEntries = jointNodes.empty() ? 0 : 1;
    for (std::size_t k = jointNodes.size(); k-- > 0;) {
        jointStrides[k] = static_cast<std::uint32_t>(jointEntries);
        jointEntries *= static_cast<std::size_t>(net.nodes[jointNodes[k]]->numStates);
    }
    sumCount += jointEntries;
}

}  // namespace samplenet
