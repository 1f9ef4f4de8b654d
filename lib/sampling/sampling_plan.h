#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

class SampleNet;

namespace samplenet {

// What drawing one weighted sample needs of a prepared engine network, laid
// out for the block sampler: nodes in the engine's (topological) order, their
// parents and column strides in one array, and every table the samples read
// in one arena in node order, so that consecutive nodes' tables are
// neighbours in memory.
//
// A drawn node's column holds, per state, the running sum of its importance
// entries (the sums the engine's draw compares with, added in its order) and
// the ratio of its network entry to its importance entry; an observed node's
// column is the one network entry of its observed state.
//
// A run adds up, per state, the weights of the samples that drew it: of
// every drawn node, or of the tallied ones only, which saves the additions of
// the others. It may also add up the weights of each joint state of a few
// nodes, whose sums follow the nodes' in a run's weight sums.
struct SamplingPlan {
    struct Entry {
        double cumulative;
        double ratio;
    };
    struct Node {
        std::int32_t evidence;  // observed state, or -1 for a drawn node
        std::uint32_t stateCount;
        std::uint32_t firstParent;  // into parents and columnStrides
        std::uint32_t parentCount;
        // Drawn nodes: the first entry in `entries` and the first column
        // in `fallbacks`; observed nodes: the first column in `likelihoods`.
        std::size_t tableOffset;
        std::size_t columnOffset;
        std::size_t firstSum;  // the node's states in a run's weight sums
        bool tallied;          // its sums are added up (drawn nodes)
    };

    // What a run adds up, by engine index.
    struct Tallies {
        // Only these nodes' states; every drawn node's when empty.
        std::vector<int> nodes;
        // The joint states of these nodes (the last varying fastest); none
        // when empty.
        std::vector<int> joint;
    };

    // Writes a drawn node's importance table (as many entries as its
    // conditional table) to the room given; called once per drawn node, from
    // several threads at once for different nodes.
    using ImportanceSource = std::function<void(int node, double* table)>;

    // An empty plan, for a plan to be read into.
    SamplingPlan() = default;
    // The importance tables are the engine's own, or, with a source, made
    // node by node as the plan reads them, so that they are never all held.
    explicit SamplingPlan(const SampleNet& net, const Tallies& tallies = {}, const ImportanceSource& importance = {});

    // A node as a host lays it out: its tables hold a column of its states
    // per state of its parents (the last parent varying fastest). Parents
    // are indices of earlier nodes.
    struct HostNode {
        std::int32_t evidence;  // observed state, or -1 for a drawn node
        std::uint32_t stateCount;
        std::vector<std::uint32_t> parents;
        const double* probability;
        const double* importance;  // drawn nodes
        bool tallied;
    };
    // A plan of host tables, in the order given (parents first); it adds up
    // no joint.
    explicit SamplingPlan(const std::vector<HostNode>& hostNodes);

    std::vector<Node> nodes;
    std::vector<std::uint32_t> parents;
    std::vector<std::uint32_t> columnStrides;
    std::vector<Entry> entries;
    // Per column of a drawn node: the state a draw falls back to when
    // rounding leaves it above the column's total (the last state of
    // non-zero importance), or -1 when no state is possible.
    std::vector<std::int32_t> fallbacks;
    std::vector<double> likelihoods;
    std::size_t sumCount = 0;  // states of all nodes, then the joint's entries
    // The joint's nodes and their strides in its table, and where its
    // entries start in the sums.
    std::vector<std::uint32_t> jointNodes;
    std::vector<std::uint32_t> jointStrides;
    std::size_t firstJointSum = 0;
    std::size_t jointEntries = 0;
    long drawnNodes = 0;       // draws per complete sample
    int widestNode = 0;        // most states of any node
};

// The column of `node`'s table that each of the first `count` samples
// reads, from its parents' states: per node a row of `rowLength` states.
inline void columnsOf(const SamplingPlan& plan, const SamplingPlan::Node& node, const std::uint16_t* states,
                      std::size_t rowLength, int count, std::uint32_t* column) {
    std::fill_n(column, count, 0u);
    for (std::uint32_t k = 0; k < node.parentCount; ++k) {
        const std::uint16_t* parentRow = states + std::size_t{plan.parents[node.firstParent + k]} * rowLength;
        const std::uint32_t stride = plan.columnStrides[node.firstParent + k];
        for (int j = 0; j < count; ++j) column[j] += parentRow[j] * stride;
    }
}

}  // namespace samplenet
