#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lib/sampling/block_sampler.h"
#include "lib/sampling/sampling_plan.h"

namespace samplenet {

// The weights of the samples that drew each entry of the drawn nodes'
// tables (a state of the node and its parents): per column, unnormalised
// estimates of the node's posterior given its parents. Kept at a common
// power-of-two scale that follows the largest weight, so that weights far
// outside double's range are added without loss.
class FamilyTallies : public BlockObserver {
public:
    explicit FamilyTallies(const SamplingPlan& plan);

    void observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights,
                 const int* exponents) override;
    // Adds another's tallies of the same plan.
    void merge(const FamilyTallies& other);

    // The tallies of a drawn node's entries, column after column: the sums
    // of the weights and of their squares (at a scale of their own).
    struct Column {
        const double* sums;
        const double* squares;
    };
    Column of(const SamplingPlan::Node& node) const {
        return {sums.data() + node.tableOffset, squares.data() + node.tableOffset};
    }

private:
    void rescale(int newScale);

    const SamplingPlan& plan;
    std::vector<double> sums;  // per entry of the plan: ldexp(sum, scale) is the true sum
    std::vector<double> squares;  // ldexp(square, 2 * scale) is the true sum of squares
    static constexpr int kNoWeight = -100000;
    int scale = kNoWeight;
    std::vector<std::uint32_t> column;
};

// Scales a column of importance entries to sum 1 with every state that the
// model's column `probability` allows at least at `epsilon`.
void keepAtLeast(double* importance, const double* probability, std::size_t states, double epsilon);

// Moves every column of `importance` that the tallies reached towards the
// tallies' conditional: `rate` of the way, less for a column reached by few
// effective samples, whose estimate is noisy; then keeps it at least at
// epsilon.
void refineColumns(double* importance, const double* probability, const FamilyTallies::Column& tallies,
                   std::size_t entries, std::size_t states, double rate, double epsilon);

}  // namespace samplenet
