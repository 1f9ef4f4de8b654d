#include "lib/sampling/best_sample.h"

#include <cmath>

#include "engine/samplenet.h"

namespace samplenet {

BestSample::BestSample(const SampleNet& net, const SamplingPlan& plan) : plan(plan) {
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

void BestSample::observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights) {
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
    int best = -1;
    for (int j = 0; j < standing; ++j)
        if (weights[j] > 0.0 && scores[j] > (best < 0 ? score_ : scores[best])) best = j;
    if (best < 0) return;
    score_ = scores[best];
    states_.resize(plan.nodes.size());
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) states_[i] = states[i * rowLength + best];
}

void BestSample::merge(const BestSample& other) {
    if (!other.found() || (found() && other.score_ <= score_)) return;
    score_ = other.score_;
    states_ = other.states_;
}

}  // namespace samplenet
