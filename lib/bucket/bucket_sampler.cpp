#include "lib/bucket/bucket_sampler.h"

#include <algorithm>
#include <cmath>

#include "lib/exact/evidence_weights.h"
#include "lib/model/errors.h"
#include "lib/sampling/generator_stream.h"

namespace samplenet {

namespace {

// A search asks whether to stop after this many backtracks (well under a
// millisecond of work).
constexpr long kBacktracksPerCheck = 1024;

double nextUniform(std::uint64_t& state) {
    state += generator_stream::kWideIncrement;
    return generator_stream::wideUniform(state);
}

// x^power for a whole power of at least 1, by squaring.
double raised(double x, std::uint32_t power) {
    double result = 1.0;
    for (; power != 0; power >>= 1) {
        if (power & 1) result *= x;
        x *= x;
    }
    return result;
}

// The first state whose running sum of weights reaches `target`, or the last
// state of positive weight when rounding leaves the target above the total.
int stateAt(const double* weights, std::uint32_t count, double target) {
    double running = 0.0;
    int last = -1;
    for (std::uint32_t x = 0; x < count; ++x) {
        if (weights[x] == 0.0) continue;
        last = static_cast<int>(x);
        running += weights[x];
        if (target <= running) break;
    }
    return last;
}

}  // namespace

BucketSampler::BucketSampler(const MiniBucketSchedule& schedule, const SampleLayout& layout)
    : schedule(schedule),
      layout(layout),
      states(layout.observed),
      value(schedule.variables.size(), 0),
      proposal(schedule.stateTotal),
      numerator(schedule.stateTotal),
      total(schedule.variables.size()),
      ratio(schedule.variables.size()),
      blamed(schedule.variables.size()) {
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

double BucketSampler::propose(std::size_t position) {
    const MiniBucketSchedule::Variable& variable = schedule.variables[position];
    const std::uint32_t count = variable.stateCount;
    double* q = proposal.data() + variable.firstState;
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
                at += static_cast<std::size_t>(value[schedule.scopeVariables[term.firstScope + k]]) *
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
    total[position] = sum;
    return sum;
}

bool BucketSampler::drawModel(std::uint64_t& state, const SampleQuota& quota) {
    const std::size_t n = schedule.variables.size();
    if (n == 0) return true;
    // Positions are drawn from the last eliminated down to the first.
    std::fill(blamed.begin(), blamed.end(), 0);
    std::size_t drawn = 0;
    propose(n - 1);
    while (drawn < n) {
        const std::size_t position = n - 1 - drawn;
        if (!(total[position] > 0.0)) {
            // Dead end: back up to the latest drawn variable to blame and
            // rule out the state it took.
            ++backtracks_;
            if (backtracks_ % kBacktracksPerCheck == 0 && quota.stopping()) return false;
            for (std::uint32_t k = schedule.firstRead[position]; k < schedule.firstRead[position + 1]; ++k)
                blamed[schedule.reads[k]] = 1;
            std::size_t back = position + 1;
            while (back < n && !blamed[back]) ++back;
            if (back == n) throw EvidenceError(kImpossibleEvidence);
            drawn = n - 1 - back;
            const MiniBucketSchedule::Variable& variable = schedule.variables[back];
            double* q = proposal.data() + variable.firstState;
            q[value[back]] = 0.0;
            double sum = 0.0;
            for (std::uint32_t x = 0; x < variable.stateCount; ++x) sum += q[x];
            total[back] = sum;
            continue;
        }
        const MiniBucketSchedule::Variable& variable = schedule.variables[position];
        const int s =
            stateAt(proposal.data() + variable.firstState, variable.stateCount, nextUniform(state) * total[position]);
        value[position] = s;
        ratio[position] = numerator[variable.firstState + s] * total[position] / proposal[variable.firstState + s];
        ++drawn;
        if (drawn < n) propose(n - 1 - drawn);
    }
    weight = 1.0;
    exponent = 0;
    for (std::size_t p = 0; p < n; ++p) {
        states[layout.networkOf[p]] = value[p];
        // Kept within [2^-600, 2^600]: one more factor cannot leave double's range.
        weight *= ratio[p];
        if (weight < 0x1p-600) {
            weight *= 0x1p600;
            exponent -= 600;
        } else if (weight > 0x1p600) {
            weight *= 0x1p-600;
            exponent += 600;
        }
    }
    return true;
}

void BucketSampler::drawForward(std::uint64_t& state) {
    for (const SampleLayout::Forward& variable : layout.forward) {
        std::size_t column = 0;
        for (std::uint32_t k = 0; k < variable.parentCount; ++k)
            column += static_cast<std::size_t>(states[layout.parents[variable.firstParent + k]]) *
                      layout.parentStrides[variable.firstParent + k];
        const int chosen = stateAt(variable.table + column, variable.stateCount, nextUniform(state));
        states[variable.variable] = chosen;
    }
}

void BucketSampler::add(WeightSums& sums) {
    ++sums.drawn;
    ++sums.positive;
    const int magnitude = exponent + std::ilogb(weight);
    if (magnitude < -1022 || magnitude > 1023) ++sums.outsideDouble;
    sums.admit(magnitude);
    const double scaled = std::ldexp(weight, exponent - sums.scale);
    const double relative = std::ldexp(weight, exponent - sums.largestExponent);
    const double squared = relative * relative;
    sums.total += scaled;
    sums.totalSquares += squared;
    for (const SampleLayout::Tally& tally : layout.tallies) {
        const std::size_t at = tally.firstSum + static_cast<std::size_t>(states[tally.variable]);
        sums.perState[at] += scaled;
        sums.perStateSquares[at] += squared;
    }
}

}  // namespace samplenet
