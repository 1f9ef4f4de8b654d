#include "lib/sampling/sampling_plan.h"

#include <algorithm>

#include "engine/node_tasks.h"
#include "engine/samplenet.h"

namespace samplenet {

namespace {

std::size_t columnsOf(std::size_t entries, std::size_t states) { return states == 0 ? 0 : entries / states; }

// Lays out the plan's nodes one after the other, counting the room their
// tables take; the arrays are sized once all are placed, then filled.
class Layout {
public:
    explicit Layout(SamplingPlan& plan) : plan(plan) {}

    SamplingPlan::Node place(std::int32_t evidence, std::uint32_t states, std::size_t columns,
                             std::size_t parentCount, bool tallied) {
        SamplingPlan::Node node{evidence,
                                states,
                                static_cast<std::uint32_t>(plan.parents.size()),
                                static_cast<std::uint32_t>(parentCount),
                                evidence >= 0 ? likelihoods : entries,
                                fallbacks,
                                plan.sumCount,
                                evidence < 0 && tallied};
        if (evidence >= 0) {
            likelihoods += columns;
        } else {
            ++plan.drawnNodes;
            entries += columns * states;
            fallbacks += columns;
        }
        plan.sumCount += states;
        plan.widestNode = std::max(plan.widestNode, static_cast<int>(states));
        return node;
    }

    // Exactly once, after the last node.
    void allocate() {
        plan.entries.resize(entries);
        plan.fallbacks.resize(fallbacks);
        plan.likelihoods.resize(likelihoods);
    }

private:
    SamplingPlan& plan;
    std::size_t entries = 0;
    std::size_t fallbacks = 0;
    std::size_t likelihoods = 0;
};

// Fills a placed node's `columns` columns: an observed node's entries of its
// observed state, a drawn node's running sums and ratios. Writes only the
// node's own slots, so nodes may be filled side by side.
void fill(SamplingPlan& plan, const SamplingPlan::Node& node, std::size_t columns, const double* probability,
          const double* importance) {
    const std::size_t states = node.stateCount;
    if (node.evidence >= 0) {
        double* likelihood = plan.likelihoods.data() + node.tableOffset;
        for (std::size_t q = 0; q < columns; ++q) likelihood[q] = probability[q * states + node.evidence];
        return;
    }
    SamplingPlan::Entry* entry = plan.entries.data() + node.tableOffset;
    std::int32_t* fallback = plan.fallbacks.data() + node.columnOffset;
    for (std::size_t q = 0; q < columns; ++q) {
        double sum = 0.0;
        std::int32_t last = -1;
        for (std::size_t s = 0; s < states; ++s) {
            const std::size_t at = q * states + s;
            sum += importance[at];
            // Never read for an impossible state: a draw cannot land there.
            const double ratio = importance[at] == 0.0 ? 0.0 : probability[at] / importance[at];
            *entry++ = {sum, ratio};
            if (importance[at] != 0.0) last = static_cast<std::int32_t>(s);
        }
        fallback[q] = last;
    }
}

}  // namespace

SamplingPlan::SamplingPlan(const std::vector<HostNode>& hostNodes) {
    Layout layout(*this);
    std::vector<std::size_t> columnCounts;
    nodes.reserve(hostNodes.size());
    for (const HostNode& node : hostNodes) {
        std::size_t columns = 1;
        for (std::uint32_t parent : node.parents) columns *= nodes.at(parent).stateCount;
        columnCounts.push_back(columns);
        const Node planned = layout.place(node.evidence, node.stateCount, columns, node.parents.size(), node.tallied);
        std::uint32_t stride = 1;
        parents.insert(parents.end(), node.parents.begin(), node.parents.end());
        columnStrides.resize(parents.size());
        for (std::size_t k = node.parents.size(); k-- > 0;) {
            columnStrides[planned.firstParent + k] = stride;
            stride *= nodes[node.parents[k]].stateCount;
        }
        nodes.push_back(planned);
    }
    layout.allocate();
    for (std::size_t i = 0; i < hostNodes.size(); ++i)
        fill(*this, nodes[i], columnCounts[i], hostNodes[i].probability, hostNodes[i].importance);
    firstJointSum = sumCount;
}

SamplingPlan::SamplingPlan(const SampleNet& net, const Tallies& tallies, const ImportanceSource& importance) {
    std::vector<bool> tallied(net.nodeCount, tallies.nodes.empty());
    for (int node : tallies.nodes) tallied.at(node) = true;
    Layout layout(*this);
    nodes.reserve(net.nodeCount);
    for (int i = 0; i < net.nodeCount; ++i) {
        const SampleNode& node = *net.nodes[i];
        const auto states = static_cast<std::uint32_t>(node.numStates);
        const std::size_t columns = columnsOf(static_cast<std::size_t>(node.cpt->data.numElements), states);
        nodes.push_back(layout.place(node.evidence, states, columns, static_cast<std::size_t>(node.numParents), tallied[i]));
        for (int k = 0; k < node.numParents; ++k) {
            parents.push_back(static_cast<std::uint32_t>(node.parents[k]));
            columnStrides.push_back(static_cast<std::uint32_t>(node.parentStrides[k + 1]));
        }
    }
    layout.allocate();
    // Each node fills only its own slots, so ranges of nodes go side by side
    // on the host's threads.
    node_tasks::ForRanges(net, [&](int begin, int end) {
        std::vector<double> made;  // one node's importance table at a time
        for (int i = begin; i < end; ++i) {
            const SampleNode& node = *net.nodes[i];
            const auto entries = static_cast<std::size_t>(node.cpt->data.numElements);
            const double* table = nullptr;
            if (node.evidence < 0 && importance) {
                made.resize(entries);
                importance(i, made.data());
                table = made.data();
            } else if (node.evidence < 0) {
                table = node.importanceTable->data.data;
            }
            fill(*this, nodes[i], columnsOf(entries, nodes[i].stateCount), node.cpt->data.data, table);
        }
    });
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
