#include "lib/inference/proposal_refinement.h"

#include <algorithm>
#include <cmath>

namespace samplenet {

namespace {

// Sums are rescaled once a weight exceeds the scale by this many binary
// places: rarely, and far below where a sum could overflow.
constexpr int kHeadroom = 64;
// A column reached by this many effective samples moves half the rate.
constexpr double kPriorSamples = 30.0;

}  // namespace

FamilyTallies::FamilyTallies(const SamplingPlan& plan)
    : plan(plan), sums(plan.entries.size(), 0.0), squares(plan.entries.size(), 0.0) {}

void FamilyTallies::rescale(int newScale) {
    if (scale != kNoWeight) {
        for (double& sum : sums) sum = std::ldexp(sum, scale - newScale);
        for (double& square : squares) square = std::ldexp(square, 2 * (scale - newScale));
    }
    scale = newScale;
}

void FamilyTallies::observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights,
                            const int* exponents) {
    column.resize(rowLength);
    for (int j = 0; j < standing; ++j) {
        if (!(weights[j] > 0.0)) continue;
        const int magnitude = exponents[j] + std::ilogb(weights[j]);
        if (scale == kNoWeight || magnitude > scale + kHeadroom) rescale(magnitude);
    }
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        if (node.evidence >= 0) continue;
        columnsOf(plan, node, states, rowLength, standing, column.data());
        const std::uint16_t* row = states + i * rowLength;
        double* sum = sums.data() + node.tableOffset;
        double* square = squares.data() + node.tableOffset;
        for (int j = 0; j < standing; ++j) {
            if (!(weights[j] > 0.0)) continue;
            const std::size_t at = std::size_t{column[j]} * node.stateCount + row[j];
            const double w = std::ldexp(weights[j], exponents[j] - scale);
            sum[at] += w;
            square[at] += w * w;
        }
    }
}

void FamilyTallies::merge(const FamilyTallies& other) {
    if (other.scale == kNoWeight) return;
    if (other.scale > scale) rescale(other.scale);
    for (std::size_t k = 0; k < sums.size(); ++k) {
        sums[k] += std::ldexp(other.sums[k], other.scale - scale);
        squares[k] += std::ldexp(other.squares[k], 2 * (other.scale - scale));
    }
}

void keepAtLeast(double* importance, const double* probability, std::size_t states, double epsilon) {
    double sum = 0.0;
    for (std::size_t s = 0; s < states; ++s) sum += importance[s];
    if (!(sum > 0.0)) return;
    double raised = 0.0;
    for (std::size_t s = 0; s < states; ++s) {
        importance[s] /= sum;
        if (probability[s] > 0.0) importance[s] = std::max(importance[s], epsilon);
        raised += importance[s];
    }
    for (std::size_t s = 0; s < states; ++s) importance[s] /= raised;
}

void refineColumns(double* importance, const double* probability, const FamilyTallies::Column& tallies,
                   std::size_t entries, std::size_t states, double rate, double epsilon) {
    for (std::size_t column = 0; column < entries; column += states) {
        double total = 0.0, squares = 0.0;
        for (std::size_t s = 0; s < states; ++s) {
            total += tallies.sums[column + s];
            squares += tallies.squares[column + s];
        }
        if (!(total > 0.0) || !(squares > 0.0)) continue;
        // A column few effective samples reached moves less.
        const double effective = total * total / squares;
        const double step = rate * effective / (effective + kPriorSamples);
        for (std::size_t s = 0; s < states; ++s)
            importance[column + s] += step * (tallies.sums[column + s] / total - importance[column + s]);
        keepAtLeast(importance + column, probability + column, states, epsilon);
    }
}

}  // namespace samplenet
