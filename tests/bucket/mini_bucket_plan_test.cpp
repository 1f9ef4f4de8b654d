#include "lib/bucket/mini_bucket_plan.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using samplenet::EliminationScopes;
using samplenet::MiniBucketPlan;

// Variable 0 (eliminated first) shares a pair table with each of 1..4: its
// bucket holds all four, whose product spans 32 entries.
EliminationScopes star() { return {{2, 2, 2, 2, 2}, {{4, 0}, {3, 0}, {2, 0}, {1, 0}, {4}, {3}, {2}, {1}}}; }

// Every function lands in exactly one mini-bucket, of the bucket of its
// first-eliminated variable, and every message is a function of its own.
void expectEachFunctionPlacedOnce(const MiniBucketPlan& plan) {
    std::vector<int> placed(plan.scopes.size(), 0);
    for (std::size_t v = 0; v < plan.buckets.size(); ++v)
        for (const MiniBucketPlan::MiniBucket& mini : plan.buckets[v]) {
            EXPECT_EQ(mini.scope.back(), static_cast<int>(v));
            for (int f : mini.functions) {
                ++placed[f];
                EXPECT_EQ(plan.scopes[f].back(), static_cast<int>(v));
                EXPECT_TRUE(std::includes(mini.scope.begin(), mini.scope.end(), plan.scopes[f].begin(),
                                          plan.scopes[f].end(), std::greater<>()));
            }
        }
    EXPECT_TRUE(std::all_of(placed.begin(), placed.end(), [](int count) { return count == 1; }));
}

TEST(MiniBucketPlan, WithoutABoundEachBucketIsEliminatedWhole) {
    const MiniBucketPlan plan = samplenet::planMiniBuckets(star(), SIZE_MAX);
    expectEachFunctionPlacedOnce(plan);
    EXPECT_EQ(plan.splitBuckets, 0);
    ASSERT_EQ(plan.buckets[0].size(), 1u);
    EXPECT_EQ(plan.buckets[0][0].scope, (std::vector<int>{4, 3, 2, 1, 0}));
    EXPECT_EQ(plan.largestMiniBucket, 32u);
    // 16 + 8 + 4 + 2 entries as the message shrinks bucket by bucket.
    EXPECT_EQ(plan.messageEntries, 30u);
    EXPECT_EQ(plan.tableEntries, 24u);
}

TEST(MiniBucketPlan, ABoundSplitsBucketsIntoMiniBucketsWithinIt) {
    const MiniBucketPlan plan = samplenet::planMiniBuckets(star(), 8);
    expectEachFunctionPlacedOnce(plan);
    EXPECT_GT(plan.splitBuckets, 0);
    ASSERT_EQ(plan.buckets[0].size(), 2u);
    for (const auto& bucket : plan.buckets)
        for (const MiniBucketPlan::MiniBucket& mini : bucket)
            EXPECT_LE(samplenet::entriesOver(mini.scope, {2, 2, 2, 2, 2}), 8u);
    EXPECT_LE(plan.largestMiniBucket, 8u);
}

TEST(MiniBucketPlan, TheBudgetChoosesTheLargestBoundThatFits) {
    const auto exact = samplenet::planWithinBudget(star(), 62);
    ASSERT_TRUE(exact.has_value());
    EXPECT_EQ(exact->splitBuckets, 0);

    const auto bounded = samplenet::planWithinBudget(star(), 20);
    ASSERT_TRUE(bounded.has_value());
    EXPECT_GT(bounded->splitBuckets, 0);
    EXPECT_LE(bounded->messageEntries + bounded->largestMiniBucket, 20u);
    // One entry more per mini-bucket would not fit.
    const MiniBucketPlan larger = samplenet::planMiniBuckets(star(), bounded->entriesPerMiniBucket + 1);
    EXPECT_GT(larger.messageEntries + larger.largestMiniBucket, 20u);

    EXPECT_FALSE(samplenet::planWithinBudget(star(), 3).has_value());
}

}  // namespace
