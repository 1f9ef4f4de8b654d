#include "lib/sampling/sampling_plan.h"

#include <algorithm>

#include "engine/samplenet.h"

namespace samplenet {

namespace {

// Lays out a node's `columns` columns: an observed node's entries of its
// observed state, a drawn node's running sums and ratios.
void addTables(SamplingPlan& plan, const SamplingPlan::Node& node, std::size_t columns, const double* probability,
               const double* importance) {
    const std::size_t states = node.stateCount;
    if (node.evidence >= 0) {
        for (std::size_t q = 0; q < columns; ++q) plan.likelihoods.push_back(probability[q * states + node.evidence]);
        return;
    }
    ++plan.drawnNodes;
    for (std::size_t q = 0; q < columns; ++q) {
        double sum = 0.0;
        std::int32_t fallback = -1;
        for (std::size_t s = 0; s < states; ++s) {
            const std::size_t at = q * states + s;
            sum += importance[at];
            // Never read for an impossible state: a draw cannot land there.
            const double ratio = importance[at] == 0.0 ? 0.0 : probability[at] / importance[at];
            plan.entries.push_back({sum, ratio});
            if (importance[at] != 0.0) fallback = static_cast<std::int32_t>(s);
        }
        plan.fallbacks.push_back(fallback);
    }
}

}  // namespace

SamplingPlan::SamplingPlan(const std::vector<HostNode>& hostNodes) {
    nodes.reserve(hostNodes.size());
    for (const HostNode& node : hostNodes) {
        std::size_t columns = 1;
        for (std::uint32_t parent : node.parents) columns *= nodes.at(parent).stateCount;
        Node planned{node.evidence,
                     node.stateCount,
                     static_cast<std::uint32_t>(parents.size()),
                     static_cast<std::uint32_t>(node.parents.size()),
                     node.evidence >= 0 ? likelihoods.size() : entries.size(),
                     fallbacks.size(),
                     sumCount,
                     node.evidence < 0 && node.tallied};
        std::uint32_t stride = 1;
        parents.insert(parents.end(), node.parents.begin(), node.parents.end());
        columnStrides.resize(parents.size());
        for (std::size_t k = node.parents.size(); k-- > 0;) {
            columnStrides[planned.firstParent + k] = stride;
            stride *= nodes[node.parents[k]].stateCount;
        }
        addTables(*this, planned, columns, node.probability, node.importance);
        sumCount += node.stateCount;
        widestNode = std::max(widestNode, static_cast<int>(node.stateCount));
        nodes.push_back(planned);
    }
    firstJointSum = sumCount;
}

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
        addTables(*this, planned, columns, node.cpt->data.data, node.evidence >= 0 ? nullptr : node.importanceTable->data.data);
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
