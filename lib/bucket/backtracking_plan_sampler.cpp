#include "lib/bucket/backtracking_plan_sampler.h"

#include <algorithm>
#include <cstddef>

#include "lib/model/errors.h"

namespace samplenet {

namespace {

constexpr int kBlockSize = 64;

constexpr std::uint32_t kNone = UINT32_MAX;

// The search over a plan's nodes: drawn nodes in the plan's order, observed
// ones fixed at their states.
BacktrackingDraw searchOver(const SamplingPlan& plan) {
    std::vector<BacktrackingDraw::Slot> slots;
    std::vector<std::uint32_t> order;
    std::size_t first = 0;
    for (std::uint32_t i = 0; i < plan.nodes.size(); ++i) {
        slots.push_back({first, plan.nodes[i].stateCount});
        first += plan.nodes[i].stateCount;
        if (plan.nodes[i].evidence < 0) order.push_back(i);
    }
    BacktrackingDraw search(std::move(slots), std::move(order));
    for (std::uint32_t i = 0; i < plan.nodes.size(); ++i)
        if (plan.nodes[i].evidence >= 0) search.fix(i, plan.nodes[i].evidence);
    return search;
}

// Per state of every node (at `firstState`), whether arc consistency over
// the tables' zeros and the evidence leaves it in. Throws EvidenceError when
// a node is left without states.
std::vector<char> consistentStates(const SamplingPlan& plan, const std::vector<const double*>& probability,
                                   const std::vector<std::size_t>& firstState, std::size_t stateTotal) {
    std::vector<char> in(stateTotal, 1);
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        if (node.evidence < 0) continue;
        std::fill_n(in.begin() + static_cast<std::ptrdiff_t>(firstState[i]), node.stateCount, 0);
        in[firstState[i] + node.evidence] = 1;
    }
    std::vector<char> supported(stateTotal);
    std::vector<std::uint32_t> family;
    for (bool changed = true; changed;) {
        changed = false;
        for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
            const SamplingPlan::Node& node = plan.nodes[i];
            family.assign(plan.parents.begin() + node.firstParent,
                          plan.parents.begin() + node.firstParent + node.parentCount);
            family.push_back(static_cast<std::uint32_t>(i));
            for (std::uint32_t member : family)
                std::fill_n(supported.begin() + static_cast<std::ptrdiff_t>(firstState[member]),
                            plan.nodes[member].stateCount, 0);
            std::size_t columns = 1;
            for (std::uint32_t k = 0; k < node.parentCount; ++k) columns *= plan.nodes[family[k]].stateCount;
            for (std::size_t column = 0; column < columns; ++column) {
                bool parentsIn = true;
                for (std::uint32_t k = 0; k < node.parentCount && parentsIn; ++k) {
                    const std::uint32_t parent = family[k];
                    const std::size_t state = column / plan.columnStrides[node.firstParent + k] % plan.nodes[parent].stateCount;
                    parentsIn = in[firstState[parent] + state] != 0;
                }
                if (!parentsIn) continue;
                for (std::uint32_t x = 0; x < node.stateCount; ++x) {
                    if (!in[firstState[i] + x] || !(probability[i][column * node.stateCount + x] > 0.0)) continue;
                    supported[firstState[i] + x] = 1;
                    for (std::uint32_t k = 0; k < node.parentCount; ++k) {
                        const std::uint32_t parent = family[k];
                        const std::size_t state =
                            column / plan.columnStrides[node.firstParent + k] % plan.nodes[parent].stateCount;
                        supported[firstState[parent] + state] = 1;
                    }
                }
            }
            for (std::uint32_t member : family) {
                bool any = false;
                for (std::uint32_t x = 0; x < plan.nodes[member].stateCount; ++x) {
                    const std::size_t at = firstState[member] + x;
                    if (in[at] && !supported[at]) {
                        in[at] = 0;
                        changed = true;
                    }
                    any = any || in[at];
                }
                if (!any) throw ImpossibleEvidenceError();
            }
        }
    }
    return in;
}

// Per observed node, its drawn parent latest in the plan (kNone if none).
std::vector<std::uint32_t> completers(const SamplingPlan& plan) {
    std::vector<std::uint32_t> latest(plan.nodes.size(), kNone);
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        if (node.evidence < 0) continue;
        for (std::uint32_t k = 0; k < node.parentCount; ++k) {
            const std::uint32_t parent = plan.parents[node.firstParent + k];
            if (plan.nodes[parent].evidence < 0 && (latest[i] == kNone || parent > latest[i])) latest[i] = parent;
        }
    }
    return latest;
}

}  // namespace

BacktrackingPlanSampler::BacktrackingPlanSampler(const SamplingPlan& plan,
                                                 const std::vector<SamplingPlan::HostNode>& nodes)
    : plan(plan), search(searchOver(plan)) {
    const std::size_t n = plan.nodes.size();
    const std::vector<std::uint32_t> completer = completers(plan);
    std::vector<std::vector<Check>> checked(n);
    std::size_t states = 0;
    for (std::size_t i = 0; i < n; ++i) {
        probability.push_back(nodes[i].probability);
        importance.push_back(nodes[i].importance);
        firstState.push_back(states);
        states += plan.nodes[i].stateCount;
    }
    possible = consistentStates(plan, probability, firstState, states);
    for (std::size_t i = 0; i < n; ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        if (node.tallied && node.evidence < 0) talliedNodes.push_back(static_cast<std::uint32_t>(i));
        if (node.evidence < 0) continue;
        const auto observed = static_cast<std::uint32_t>(i);
        if (completer[i] == kNone) {
            evidenceFactor *= probability[i][columnOf(observed, kNone) * node.stateCount + node.evidence];
            continue;
        }
        std::size_t stride = 0;
        for (std::uint32_t k = 0; k < node.parentCount; ++k)
            if (plan.parents[node.firstParent + k] == completer[i]) stride = plan.columnStrides[node.firstParent + k];
        checked[completer[i]].push_back({observed, stride});
    }
    if (!(evidenceFactor > 0.0)) throw ImpossibleEvidenceError();
    firstCheck.push_back(0);
    for (const auto& nodeChecks : checked) {
        checks.insert(checks.end(), nodeChecks.begin(), nodeChecks.end());
        firstCheck.push_back(checks.size());
    }
    numerator.resize(states);
    block.resize(n * kBlockSize);
    blockWeights.resize(kBlockSize);
    blockExponents.resize(kBlockSize);
}

std::size_t BacktrackingPlanSampler::columnOf(std::uint32_t index, std::uint32_t skipped) const {
    const SamplingPlan::Node& node = plan.nodes[index];
    std::size_t column = 0;
    for (std::uint32_t k = 0; k < node.parentCount; ++k) {
        const std::uint32_t parent = plan.parents[node.firstParent + k];
        if (parent != skipped) column += static_cast<std::size_t>(search.value(parent)) * plan.columnStrides[node.firstParent + k];
    }
    return column;
}

void BacktrackingPlanSampler::blameParents(std::uint32_t index, std::uint32_t skipped,
                                           std::vector<std::uint32_t>& culprits) const {
    const SamplingPlan::Node& node = plan.nodes[index];
    for (std::uint32_t k = 0; k < node.parentCount; ++k) {
        const std::uint32_t parent = plan.parents[node.firstParent + k];
        if (parent != skipped && plan.nodes[parent].evidence < 0) culprits.push_back(parent);
    }
}

double BacktrackingPlanSampler::propose(std::uint32_t slot, double* q, std::vector<std::uint32_t>& culprits) {
    const std::uint32_t count = plan.nodes[slot].stateCount;
    const std::size_t column = columnOf(slot, kNone) * count;
    const char* in = possible.data() + firstState[slot];
    double* top = numerator.data() + firstState[slot];
    const double* proposed = importance[slot] + column;
    std::copy_n(probability[slot] + column, count, top);
    // A state ruled out by the node's own column (or its proposal) is
    // ruled out by its parents' states.
    bool ownZero = false;
    for (std::uint32_t x = 0; x < count; ++x) ownZero = ownZero || (in[x] && !(top[x] > 0.0 && proposed[x] > 0.0));
    if (ownZero) blameParents(slot, kNone, culprits);
    for (std::size_t c = firstCheck[slot]; c < firstCheck[slot + 1]; ++c) {
        const Check& check = checks[c];
        const SamplingPlan::Node& observed = plan.nodes[check.node];
        const double* table = probability[check.node];
        const std::size_t base = columnOf(check.node, slot);
        bool ruledOut = false;
        for (std::uint32_t x = 0; x < count; ++x) {
            const bool before = top[x] > 0.0;
            top[x] *= table[(base + x * check.stride) * observed.stateCount + observed.evidence];
            ruledOut = ruledOut || (in[x] && before && !(top[x] > 0.0));
        }
        if (ruledOut) blameParents(check.node, slot, culprits);
    }
    double sum = 0.0;
    for (std::uint32_t x = 0; x < count; ++x) {
        q[x] = in[x] && top[x] > 0.0 ? proposed[x] : 0.0;
        sum += q[x];
    }
    return sum;
}

void BacktrackingPlanSampler::weigh() {
    weight = evidenceFactor;
    exponent = 0;
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        if (plan.nodes[i].evidence >= 0) continue;
        const auto slot = static_cast<std::uint32_t>(i);
        const int s = search.value(slot);
        multiplyWeight(weight, exponent, numerator[firstState[i] + s] * search.totalOf(slot) / search.proposalOf(slot)[s]);
    }
}

void BacktrackingPlanSampler::flush(BlockObserver* observer) {
    if (observer && standing > 0)
        observer->observe(block.data(), kBlockSize, standing, blockWeights.data(), blockExponents.data());
    standing = 0;
}

std::uint64_t BacktrackingPlanSampler::draw(std::uint64_t state, SampleQuota& quota, WeightSums& sums,
                                            BlockObserver* observer) {
    while (quota.grant()) {
        if (!search.draw(state, quota, *this)) break;
        weigh();
        const WeightSums::Counted counted = sums.count(weight, exponent);
        for (std::uint32_t i : talliedNodes) {
            const std::size_t at = plan.nodes[i].firstSum + static_cast<std::size_t>(search.value(i));
            sums.perState[at] += counted.scaled;
            sums.perStateSquares[at] += counted.squared;
        }
        if (!observer) continue;
        for (std::size_t i = 0; i < plan.nodes.size(); ++i)
            block[i * kBlockSize + standing] = static_cast<std::uint16_t>(search.value(static_cast<std::uint32_t>(i)));
        blockWeights[standing] = weight;
        blockExponents[standing] = exponent;
        if (++standing == kBlockSize) flush(observer);
    }
    flush(observer);
    return state;
}

}  // namespace samplenet
