#include "lib/bucket/mini_bucket_plan.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <numeric>

#include "lib/exact/saturating_arithmetic.h"

namespace samplenet {

namespace {

// The union of two descending scopes, descending.
std::vector<int> unionOf(const std::vector<int>& a, const std::vector<int>& b) {
    std::vector<int> joined;
    joined.reserve(a.size() + b.size());
    std::set_union(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(joined), std::greater<>());
    return joined;
}

}  // namespace

std::size_t entriesOver(const std::vector<int>& scope, const std::vector<int>& stateCounts) {
    std::size_t entries = 1;
    for (int v : scope) entries = saturatingMultiply(entries, static_cast<std::size_t>(stateCounts[v]));
    return entries;
}

MiniBucketPlan planMiniBuckets(const EliminationScopes& model, std::size_t entriesPerMiniBucket) {
    const int n = static_cast<int>(model.stateCounts.size());
    MiniBucketPlan plan;
    plan.entriesPerMiniBucket = entriesPerMiniBucket;
    plan.tables = static_cast<int>(model.scopes.size());
    plan.scopes = model.scopes;
    plan.buckets.resize(n);
    std::vector<std::vector<int>> waiting(n);  // the functions of each bucket
    for (int f = 0; f < plan.tables; ++f) {
        plan.tableEntries = saturatingAdd(plan.tableEntries, entriesOver(plan.scopes[f], model.stateCounts));
        if (!plan.scopes[f].empty()) waiting[plan.scopes[f].back()].push_back(f);
    }
    std::vector<std::size_t> entries;  // per function
    for (const auto& scope : plan.scopes) entries.push_back(entriesOver(scope, model.stateCounts));
    for (int v = 0; v < n; ++v) {
        std::vector<int>& functions = waiting[v];
        std::stable_sort(functions.begin(), functions.end(), [&](int a, int b) { return entries[a] > entries[b]; });
        std::vector<MiniBucketPlan::MiniBucket>& bucket = plan.buckets[v];
        for (int f : functions) {
            bool placed = false;
            for (MiniBucketPlan::MiniBucket& mini : bucket) {
                std::vector<int> joined = unionOf(mini.scope, plan.scopes[f]);
                if (entriesOver(joined, model.stateCounts) > entriesPerMiniBucket) continue;
                mini.scope = std::move(joined);
                mini.functions.push_back(f);
                placed = true;
                break;
            }
            if (!placed) bucket.push_back({{f}, plan.scopes[f], -1});
        }
        if (bucket.size() > 1) ++plan.splitBuckets;
        for (MiniBucketPlan::MiniBucket& mini : bucket) {
            plan.largestMiniBucket = std::max(plan.largestMiniBucket, entriesOver(mini.scope, model.stateCounts));
            if (mini.scope.size() < 2) continue;
            std::vector<int> sent(mini.scope.begin(), mini.scope.end() - 1);
            mini.message = static_cast<int>(plan.scopes.size());
            plan.messageEntries = saturatingAdd(plan.messageEntries, entriesOver(sent, model.stateCounts));
            waiting[sent.back()].push_back(mini.message);
            entries.push_back(entriesOver(sent, model.stateCounts));
            plan.scopes.push_back(std::move(sent));
        }
    }
    return plan;
}

std::optional<MiniBucketPlan> planWithinBudget(const EliminationScopes& model, std::size_t entryBudget,
                                               const std::function<void()>& checkpoint) {
    const auto fits = [&](const MiniBucketPlan& plan) {
        if (checkpoint) checkpoint();
        return saturatingAdd(plan.messageEntries, plan.largestMiniBucket) <= entryBudget;
    };
    MiniBucketPlan exact = planMiniBuckets(model, std::numeric_limits<std::size_t>::max());
    if (fits(exact)) return exact;
    MiniBucketPlan best = planMiniBuckets(model, 1);
    if (!fits(best)) return std::nullopt;
    // The bound that fits lies below the exact plan's largest mini-bucket.
    std::size_t low = 1;
    std::size_t high = exact.largestMiniBucket;
    while (high - low > 1) {
        const std::size_t middle = low + (high - low) / 2;
        MiniBucketPlan candidate = planMiniBuckets(model, middle);
        if (fits(candidate)) {
            low = middle;
            best = std::move(candidate);
        } else {
            high = middle;
        }
    }
    return best;
}

}  // namespace samplenet
