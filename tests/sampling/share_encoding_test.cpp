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

// Every field survives: the bytes of what comes back are the bytes sent.
TEST(ShareEncoding, PlansAndSharesComeBackAsTheyWere) {
    const SmallPlan small;
    const std::string plan = samplenet::encodePlan(small.plan, samplenet::Generator::Wide);
    const auto decoded = samplenet::decodePlan(plan);
    EXPECT_EQ(decoded.generator, samplenet::Generator::Wide);
    EXPECT_EQ(samplenet::encodePlan(decoded.plan, decoded.generator), plan);

    samplenet::JobShare share{samplenet::WeightSums(small.plan.sumCount), 12345};
    samplenet::drawShare(decoded.plan, decoded.generator, share, 500);
    ASSERT_EQ(share.sums.drawn, 500);
    ASSERT_GT(share.sums.impossible, 0);
    const std::string bytes = samplenet::encodeShare(share);
    EXPECT_EQ(samplenet::encodeShare(samplenet::decodeShare(bytes, small.plan.sumCount)), bytes);
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
