#include "lib/sampling/best_sample.h"

#include <cmath>

#include "engine/samplenet.h"

namespace samplenet {

BestSamples::BestSamples(const SampleNet& net, const SamplingPlan& plan, std::size_t kept) : plan(plan), kept(kept) {
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        tableOffsets.push_back(logTables.size());
        const SampleNode& engineNode = *net.nodes[static_cast<int>(i)];
        const double* table = engineNode.cpt->data.data;
        const auto entries = static_cast<std::size_t>(engineNode.cpt->data.numElements);
        if (node.evidence >= 0) {
            for (std::size_t at = static_cast<std::size_t>(node.evidence); at < entries; at += node.stateCount)
                logTables.push_back(std::log(table[at]));
        } else {
            for (std::size_t at = 0; at < entries; ++at) logTables.push_back(std::log(table[at]));
        }
    }
}

void BestSamples::observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights,
                          const int* /*exponents*/) {
    scores.assign(standing, 0.0);
    column.resize(rowLength);
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        columnsOf(plan, node, states, rowLength, standing, column.data());
        const double* table = logTables.data() + tableOffsets[i];
        const std::uint16_t* row = states + i * rowLength;
        if (node.evidence >= 0) {
            for (int j = 0; j < standing; ++j) scores[j] += table[column[j]];
        } else {
            for (int j = 0; j < standing; ++j) scores[j] += table[std::size_t{column[j]} * node.stateCount + row[j]];
        }
    }
    for (int j = 0; j < standing; ++j) {
        if (!(weights[j] > 0.0) || !(scores[j] > threshold())) continue;
        ScoredSample candidate{std::vector<int>(plan.nodes.size()), scores[j]};
        for (std::size_t i = 0; i < plan.nodes.size(); ++i) candidate.states[i] = states[i * rowLength + j];
        offer(std::move(candidate));
    }
}

void BestSamples::offer(ScoredSample candidate) {
    // After the samples that score at least as high, unless it is one of them.
    auto at = best.begin();
    for (; at != best.end() && at->logScore >= candidate.logScore; ++at)
        if (at->logScore == candidate.logScore && at->states == candidate.states) return;
    best.insert(at, std::move(candidate));
    if (best.size() > kept) best.pop_back();
}

void BestSamples::merge(const BestSamples& other) {
    for (const ScoredSample& sample : other.best)
        if (sample.logScore > threshold()) offer(sample);
}

}  // namespace samplenet
