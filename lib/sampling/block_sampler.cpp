#include "lib/sampling/block_sampler.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "engine/random_state.h"
#include "lib/sampling/generator_stream.h"

namespace samplenet {

namespace {

// Rows of a block: every job has its own, and on a network of a million
// nodes two jobs' rows were more than the sums they fill.
constexpr std::size_t kRowBytes = std::size_t{32} << 20;
constexpr int kMaxBlock = 256;
constexpr int kMinBlock = 8;
constexpr std::uint32_t kCountedColumn = 8;
// Nodes whose sums are added together: their additions are independent, so
// they overlap, where one node's would wait for each other.
constexpr std::size_t kInterleavedNodes = 4;

}  // namespace

BlockSampler::BlockSampler(const SamplingPlan& plan, Generator stream) : plan(plan), kind(stream) {
    const std::size_t nodes = std::max<std::size_t>(plan.nodes.size(), 1);
    capacity = static_cast<int>(std::clamp<std::size_t>(kRowBytes / (nodes * sizeof(std::uint16_t)), kMinBlock, kMaxBlock));
    states.assign(plan.nodes.size() * capacity, 0);
    for (std::size_t i = 0; i < plan.nodes.size(); ++i)
        if (plan.nodes[i].evidence >= 0)
            std::fill_n(states.begin() + i * capacity, capacity, static_cast<std::uint16_t>(plan.nodes[i].evidence));
    weight.resize(capacity);
    exponent.resize(capacity);
    generator.resize(capacity);
    column.resize(capacity);
    scaled.resize(capacity);
    squared.resize(capacity);
    if (plan.jointEntries > 0) jointIndex.resize(capacity);
}

std::uint64_t BlockSampler::draw(std::uint64_t state, SampleQuota& quota, WeightSums& sums, BlockObserver* watcher) {
    observer = watcher;
    const generator_stream::Affine perSample = generator_stream::stepsOf(static_cast<std::uint64_t>(plan.drawnNodes), kind);
    int pending = 0;  // granted, not yet drawn
    bool more = true;
    int blockSize = capacity;
    for (;;) {
        while (more && pending < blockSize) {
            if (quota.grant()) {
                ++pending;
            } else {
                more = false;
            }
        }
        if (pending == 0) return state;
        const int count = std::min(pending, blockSize);
        // Where each sample starts if none before it ends early.
        generator[0] = state;
        for (int j = 1; j < count; ++j) generator[j] = perSample(generator[j - 1]);
        const int standing = drawBlock(count, sums);
        state = generator[standing - 1];
        pending -= standing;
        blockSize = std::min(capacity, standing < count ? std::max(kMinBlock, 2 * standing) : 2 * blockSize);
    }
}

int BlockSampler::drawBlock(int count, WeightSums& sums) {
    std::fill_n(weight.begin(), count, 1.0);
    std::fill_n(exponent.begin(), count, 0);
    ended = -1;
    int live = count;
    for (std::size_t i = 0; i < plan.nodes.size() && live > 0; ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        live = node.evidence >= 0 ? observeNode(node, live) : drawNode(i, node, live);
    }
    const int standing = ended >= 0 ? ended + 1 : count;
    addBlock(standing, sums);
    if (observer) observer->observe(states.data(), static_cast<std::size_t>(capacity), standing, weight.data(), exponent.data());
    return standing;
}

void BlockSampler::columnsOf(const SamplingPlan::Node& node, int live) {
    samplenet::columnsOf(plan, node, states.data(), static_cast<std::size_t>(capacity), live, column.data());
}

int BlockSampler::observeNode(const SamplingPlan::Node& node, int live) {
    columnsOf(node, live);
    const double* likelihood = plan.likelihoods.data() + node.tableOffset;
    for (int j = 0; j < live; ++j)
        if (!applyFactor(j, likelihood[column[j]])) return j;
    return live;
}

int BlockSampler::drawNode(std::size_t index, const SamplingPlan::Node& node, int live) {
    return kind == Generator::Standard ? drawNodeFrom<Generator::Standard>(index, node, live)
                                       : drawNodeFrom<Generator::Wide>(index, node, live);
}

template <Generator generatorKind>
int BlockSampler::drawNodeFrom(std::size_t index, const SamplingPlan::Node& node, int live) {
    constexpr generator_stream::Affine step = generator_stream::stepOf(generatorKind);
    columnsOf(node, live);
    const std::uint32_t stateCount = node.stateCount;
    const SamplingPlan::Entry* table = plan.entries.data() + node.tableOffset;
    const std::int32_t* fallbacks = plan.fallbacks.data() + node.columnOffset;
    std::uint16_t* row = &states[index * capacity];
    for (int j = 0; j < live; ++j) {
        const std::uint64_t next = step(generator[j]);
        generator[j] = next;
        const double u = generatorKind == Generator::Standard ? engine_random::LcgUniform(next)
                                                              : generator_stream::wideUniform(next);
        const SamplingPlan::Entry* entries = table + std::size_t{column[j]} * stateCount;
        // The first state whose running sum reaches u. The sums never
        // decrease, so for short columns that is the count of sums below u,
        // which needs no branch that the draw could mispredict.
        std::uint32_t s = 0;
        if (stateCount <= kCountedColumn) {
            for (std::uint32_t k = 0; k < stateCount; ++k) s += entries[k].cumulative < u ? 1u : 0u;
        } else {
            while (s < stateCount && !(u <= entries[s].cumulative)) ++s;
        }
        double factor = 0.0;
        if (s < stateCount) {
            factor = entries[s].ratio;
        } else if (const std::int32_t fallback = fallbacks[column[j]]; fallback >= 0) {
            s = static_cast<std::uint32_t>(fallback);
            factor = entries[s].ratio;
        } else {
            s = 0;
        }
        row[j] = static_cast<std::uint16_t>(s);
        if (!applyFactor(j, factor)) return j;
    }
    return live;
}

void BlockSampler::endSample(int j, double factor) {
    weight[j] = 0.0;
    ended = j;
    endedImpossible = factor == 0.0;
}

void BlockSampler::addBlock(int standing, WeightSums& sums) {
    sums.drawn += standing;
    if (ended >= 0) ++(endedImpossible ? sums.impossible : sums.lostToRange);
    int blockLargest = INT_MIN;
    for (int j = 0; j < standing; ++j) {
        if (!(weight[j] > 0.0)) continue;
        const int magnitude = exponent[j] + std::ilogb(weight[j]);
        blockLargest = std::max(blockLargest, magnitude);
        if (magnitude < -1022 || magnitude > 1023) ++sums.outsideDouble;
        ++sums.positive;
    }
    if (blockLargest != INT_MIN) sums.admit(blockLargest);
    for (int j = 0; j < standing; ++j) {
        const bool counted = weight[j] > 0.0;
        scaled[j] = counted ? std::ldexp(weight[j], exponent[j] - sums.scale) : 0.0;
        const double relative = counted ? std::ldexp(weight[j], exponent[j] - sums.largestExponent) : 0.0;
        squared[j] = relative * relative;
        sums.total += scaled[j];
        sums.totalSquares += squared[j];
    }
    // Adding the zero weight of an ended sample changes no sum, so every
    // sample of the block is added without a test. Each sum still takes its
    // weights in sample order.
    std::size_t tallied[kInterleavedNodes];
    std::size_t group = 0;
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        if (!plan.nodes[i].tallied) continue;
        tallied[group++] = i;
        if (group == kInterleavedNodes) {
            addRows(tallied, group, standing, sums);
            group = 0;
        }
    }
    addRows(tallied, group, standing, sums);
    if (plan.jointEntries > 0) addJoint(standing, sums);
}

void BlockSampler::addJoint(int standing, WeightSums& sums) {
    std::fill_n(jointIndex.begin(), standing, 0u);
    for (std::size_t k = 0; k < plan.jointNodes.size(); ++k) {
        const std::uint16_t* row = &states[std::size_t{plan.jointNodes[k]} * capacity];
        const std::uint32_t stride = plan.jointStrides[k];
        for (int j = 0; j < standing; ++j) jointIndex[j] += row[j] * stride;
    }
    double* sum = sums.perState.data() + plan.firstJointSum;
    double* square = sums.perStateSquares.data() + plan.firstJointSum;
    for (int j = 0; j < standing; ++j) {
        sum[jointIndex[j]] += scaled[j];
        square[jointIndex[j]] += squared[j];
    }
}

void BlockSampler::addRows(const std::size_t* nodes, std::size_t count, int standing, WeightSums& sums) {
    const std::uint16_t* rows[kInterleavedNodes];
    double* sum[kInterleavedNodes];
    double* square[kInterleavedNodes];
    for (std::size_t k = 0; k < count; ++k) {
        rows[k] = &states[nodes[k] * capacity];
        sum[k] = sums.perState.data() + plan.nodes[nodes[k]].firstSum;
        square[k] = sums.perStateSquares.data() + plan.nodes[nodes[k]].firstSum;
    }
    if (count == kInterleavedNodes) {
        for (int j = 0; j < standing; ++j) {
            const double w = scaled[j];
            const double w2 = squared[j];
            sum[0][rows[0][j]] += w;
            sum[1][rows[1][j]] += w;
            sum[2][rows[2][j]] += w;
            sum[3][rows[3][j]] += w;
            square[0][rows[0][j]] += w2;
            square[1][rows[1][j]] += w2;
            square[2][rows[2][j]] += w2;
            square[3][rows[3][j]] += w2;
        }
        return;
    }
    for (std::size_t k = 0; k < count; ++k) {
        for (int j = 0; j < standing; ++j) {
            sum[k][rows[k][j]] += scaled[j];
            square[k][rows[k][j]] += squared[j];
        }
    }
}

}  // namespace samplenet
