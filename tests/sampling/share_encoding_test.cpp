#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "lib/sampling/share_encoding.h"

namespace {

using samplenet::SamplingPlan;

// A drawn parent of three states, a drawn child of two and an observed
// grandchild, with a joint table over the first two.
struct SmallPlan {
    std::vector<double> parent{0.2, 0.3, 0.5};
    std::vector<double> child{0.9, 0.1, 0.4, 0.6, 0.0, 1.0};
    std::vector<double> childImportance{0.5, 0.5, 0.5, 0.5, 0.5, 0.5};
    std::vector<double> grandchild{0.7, 0.3, 0.2, 0.8};
    SamplingPlan plan{{SamplingPlan::HostNode{-1, 3, {}, parent.data(), parent.data(), true},
                       SamplingPlan::HostNode{-1, 2, {0}, child.data(), childImportance.data(), true},
                       SamplingPlan::HostNode{1, 2, {1}, grandchild.data(), nullptr, false}}};
    SmallPlan() {
        plan.jointNodes = {0, 1};
        plan.jointStrides = {2, 1};
        plan.firstJointSum = plan.sumCount;
        plan.jointEntries = 6;
        plan.sumCount += 6;
    }
};

void expectSamePlan(const SamplingPlan& a, const SamplingPlan& b) {
    ASSERT_EQ(a.nodes.size(), b.nodes.size());
    for (std::size_t i = 0; i < a.nodes.size(); ++i) {
        EXPECT_EQ(a.nodes[i].evidence, b.nodes[i].evidence);
        EXPECT_EQ(a.nodes[i].stateCount, b.nodes[i].stateCount);
        EXPECT_EQ(a.nodes[i].firstParent, b.nodes[i].firstParent);
        EXPECT_EQ(a.nodes[i].parentCount, b.nodes[i].parentCount);
        EXPECT_EQ(a.nodes[i].tableOffset, b.nodes[i].tableOffset);
        EXPECT_EQ(a.nodes[i].columnOffset, b.nodes[i].columnOffset);
        EXPECT_EQ(a.nodes[i].firstSum, b.nodes[i].firstSum);
        EXPECT_EQ(a.nodes[i].tallied, b.nodes[i].tallied);
    }
    EXPECT_EQ(a.parents, b.parents);
    EXPECT_EQ(a.columnStrides, b.columnStrides);
    ASSERT_EQ(a.entries.size(), b.entries.size());
    for (std::size_t k = 0; k < a.entries.size(); ++k) {
        EXPECT_EQ(a.entries[k].cumulative, b.entries[k].cumulative);
        EXPECT_EQ(a.entries[k].ratio, b.entries[k].ratio);
    }
    EXPECT_EQ(a.fallbacks, b.fallbacks);
    EXPECT_EQ(a.likelihoods, b.likelihoods);
    EXPECT_EQ(a.sumCount, b.sumCount);
    EXPECT_EQ(a.jointNodes, b.jointNodes);
    EXPECT_EQ(a.jointStrides, b.jointStrides);
    EXPECT_EQ(a.firstJointSum, b.firstJointSum);
    EXPECT_EQ(a.jointEntries, b.jointEntries);
    EXPECT_EQ(a.drawnNodes, b.drawnNodes);
    EXPECT_EQ(a.widestNode, b.widestNode);
}

TEST(ShareEncoding, PlansAndSharesComeBackAsTheyWere) {
    const SmallPlan small;
    const auto decoded = samplenet::decodePlan(samplenet::encodePlan(small.plan, samplenet::Generator::Wide));
    EXPECT_EQ(decoded.generator, samplenet::Generator::Wide);
    expectSamePlan(small.plan, decoded.plan);

    samplenet::JobShare share{samplenet::WeightSums(small.plan.sumCount), 12345};
    samplenet::drawShare(small.plan, samplenet::Generator::Standard, share, 500);
    ASSERT_EQ(share.sums.drawn, 500);
    const samplenet::JobShare back = samplenet::decodeShare(samplenet::encodeShare(share), small.plan.sumCount);
    EXPECT_EQ(back.state, share.state);
    EXPECT_EQ(back.sums.perState, share.sums.perState);
    EXPECT_EQ(back.sums.perStateSquares, share.sums.perStateSquares);
    EXPECT_EQ(back.sums.total, share.sums.total);
    EXPECT_EQ(back.sums.totalSquares, share.sums.totalSquares);
    EXPECT_EQ(back.sums.largestExponent, share.sums.largestExponent);
    EXPECT_EQ(back.sums.positive, share.sums.positive);
    EXPECT_EQ(back.sums.impossible, share.sums.impossible);
}

// Bytes cut short, lengthened or from another kind are refused at any point.
TEST(ShareEncoding, RefusesBytesThatAreNotWhole) {
    const SmallPlan small;
    const std::string plan = samplenet::encodePlan(small.plan, samplenet::Generator::Standard);
    for (std::size_t length = 0; length < plan.size(); ++length)
        EXPECT_THROW(samplenet::decodePlan(plan.substr(0, length)), std::invalid_argument) << length;
    EXPECT_THROW(samplenet::decodePlan(plan + '\0'), std::invalid_argument);
    std::string otherVersion = plan;
    otherVersion[4] = 9;
    EXPECT_THROW(samplenet::decodePlan(otherVersion), std::invalid_argument);

    const std::string share = samplenet::encodeShare({samplenet::WeightSums(small.plan.sumCount), 1});
    for (std::size_t length = 0; length < share.size(); ++length)
        EXPECT_THROW(samplenet::decodeShare(share.substr(0, length), small.plan.sumCount), std::invalid_argument);
    EXPECT_THROW(samplenet::decodeShare(share, small.plan.sumCount + 1), std::invalid_argument);
    EXPECT_THROW(samplenet::decodeShare(plan, small.plan.sumCount), std::invalid_argument);
    EXPECT_THROW(samplenet::decodePlan(share), std::invalid_argument);
}

// Whole bytes whose indices would lead the sampler outside its tables.
TEST(ShareEncoding, RefusesPlansThatReachOutsideTheirTables) {
    const std::vector<std::pair<std::string, std::function<void(SamplingPlan&)>>> faults = {
        {"parent after its child", [](SamplingPlan& p) { p.parents[0] = 2; }},
        {"parents beyond the list", [](SamplingPlan& p) { p.nodes[1].parentCount = 5; }},
        {"table beyond the entries", [](SamplingPlan& p) { p.nodes[1].tableOffset = p.entries.size() - 1; }},
        {"likelihoods beyond the list", [](SamplingPlan& p) { p.nodes[2].tableOffset = 1; }},
        {"sums beyond the count", [](SamplingPlan& p) { p.nodes[0].firstSum = p.sumCount - 1; }},
        {"fallback out of range", [](SamplingPlan& p) { p.fallbacks[0] = 3; }},
        {"observed state out of range", [](SamplingPlan& p) { p.nodes[2].evidence = 2; }},
        {"drawn count wrong", [](SamplingPlan& p) { p.drawnNodes = 1; }},
        {"joint too small", [](SamplingPlan& p) { p.jointEntries = 5; }},
        {"joint node out of range", [](SamplingPlan& p) { p.jointNodes[1] = 3; }},
        {"stride wide of the table", [](SamplingPlan& p) { p.columnStrides[0] = 7; }},
    };
    for (const auto& [fault, apply] : faults) {
        SmallPlan small;
        apply(small.plan);
        EXPECT_THROW(samplenet::decodePlan(samplenet::encodePlan(small.plan, samplenet::Generator::Standard)),
                     std::invalid_argument)
            << fault;
    }
}

}  // namespace
