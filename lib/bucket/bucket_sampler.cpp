#include "lib/bucket/bucket_sampler.h"

#include <algorithm>
#include <cmath>


namespace samplenet {

namespace {

// x^power for a whole power of at least 1, by squaring.
double raised(double x, std::uint32_t power) {
    double result = 1.0;
    for (; power != 0; power >>= 1) {
        if (power & 1) result *= x;
        x *= x;
    }
    return result;
}

BacktrackingDraw searchOver(const MiniBucketSchedule& schedule) {
    const auto n = static_cast<std::uint32_t>(schedule.variables.size());
    std::vector<BacktrackingDraw::Slot> slots;
    std::vector<std::uint32_t> order;
    for (const auto& variable : schedule.variables) slots.push_back({variable.firstState, variable.stateCount});
    for (std::uint32_t k = 0; k < n; ++k) order.push_back(n - 1 - k);
    return BacktrackingDraw(std::move(slots), std::move(order), schedule.firstRead, schedule.reads);
}

}  // namespace

BucketSampler::BucketSampler(const MiniBucketSchedule& schedule, const SampleLayout& layout)
    : schedule(schedule),
      layout(layout),
      search(searchOver(schedule)),
      states(layout.observed),
      numerator(schedule.stateTotal) {
    std::uint32_t widest = 1;
    for (const auto& variable : schedule.variables) widest = std::max(widest, variable.stateCount);
    product.resize(widest);
    mixed.resize(widest);
}

std::uint64_t BucketSampler::draw(std::uint64_t state, SampleQuota& quota, WeightSums& sums) {
    while (quota.grant()) {
        if (!drawModel(state, quota)) break;
        drawForward(state);
        add(sums);
    }
    return state;
}

double BucketSampler::propose(std::uint32_t position, double* q, std::vector<std::uint32_t>&) {
    const MiniBucketSchedule::Variable& variable = schedule.variables[position];
    const std::uint32_t count = variable.stateCount;
    double* top = numerator.data() + variable.firstState;
    std::fill_n(q, count, 0.0);
    std::fill_n(top, count, 1.0);
    const double share = 1.0 / variable.miniBucketCount;
    // States that some mini-bucket rules out stay out of the mixture.
    bool possible = true;
    for (std::uint32_t m = 0; m < variable.miniBucketCount; ++m) {
        const MiniBucketSchedule::MiniBucket& mini = schedule.miniBuckets[variable.firstMiniBucket + m];
        std::fill_n(product.begin(), count, 1.0);
        for (std::uint32_t t = 0; t < mini.termCount; ++t) {
            const MiniBucketSchedule::Term& term = schedule.terms[mini.firstTerm + t];
            std::size_t at = term.tableOffset;
            for (std::uint32_t k = 0; k < term.scopeCount; ++k)
                at += static_cast<std::size_t>(search.value(schedule.scopeVariables[term.firstScope + k])) *
                      schedule.scopeStrides[term.firstScope + k];
            const double* row = schedule.values.data() + at;
            for (std::uint32_t x = 0; x < count; ++x) product[x] *= row[x];
            if (term.modelTable)
                for (std::uint32_t x = 0; x < count; ++x) top[x] *= row[x];
        }
        const double largest = *std::max_element(product.begin(), product.begin() + count);
        if (!(largest > 0.0)) {
            possible = false;
            break;
        }
        double sum = 0.0;
        for (std::uint32_t x = 0; x < count; ++x) {
            mixed[x] = raised(product[x] / largest, variable.miniBucketCount);
            sum += mixed[x];
        }
        for (std::uint32_t x = 0; x < count; ++x) {
            q[x] += share * mixed[x] / sum;
            if (product[x] == 0.0) top[x] = 0.0;
        }
    }
    double sum = 0.0;
    for (std::uint32_t x = 0; x < count; ++x) {
        if (!possible || top[x] == 0.0) q[x] = 0.0;
        sum += q[x];
    }
    return sum;
}

bool BucketSampler::drawModel(std::uint64_t& state, const SampleQuota& quota) {
    if (!search.draw(state, quota, *this)) return false;
    weight = 1.0;
    exponent = 0;
    for (std::size_t p = 0; p < schedule.variables.size(); ++p) {
        const auto position = static_cast<std::uint32_t>(p);
        const int s = search.value(position);
        const std::size_t first = schedule.variables[p].firstState;
        states[layout.networkOf[p]] = s;
        multiplyWeight(weight, exponent,
                       numerator[first + s] * search.totalOf(position) / search.proposalOf(position)[s]);
    }
    return true;
}

void BucketSampler::drawForward(std::uint64_t& state) {
    for (const SampleLayout::Forward& variable : layout.forward) {
        std::size_t column = 0;
        for (std::uint32_t k = 0; k < variable.parentCount; ++k)
            column += static_cast<std::size_t>(states[layout.parents[variable.firstParent + k]]) *
                      layout.parentStrides[variable.firstParent + k];
        const int chosen = stateAtRunningSum(variable.table + column, variable.stateCount, nextWideUniform(state));
        states[variable.variable] = chosen;
    }
}

void BucketSampler::add(WeightSums& sums) {
    const WeightSums::Counted counted = sums.count(weight, exponent);
    for (const SampleLayout::Tally& tally : layout.tallies) {
        const std::size_t at = tally.firstSum + static_cast<std::size_t>(states[tally.variable]);
        sums.perState[at] += counted.scaled;
        sums.perStateSquares[at] += counted.squared;
    }
}

}  // namespace samplenet
