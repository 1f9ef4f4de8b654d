#include <gtest/gtest.h>

#include <cmath>

#include "engine/random_state.h"
#include "engine/samplenet.h"
#include "tests/engine/engine_run.h"

namespace {

using testing_support::TestHost;
using testing_support::TinyNet;

// A network prepared for sampling, torn down on scope exit.
struct Prepared {
    explicit Prepared(TinyNet tiny, std::vector<int> evidence = {}) : host(std::move(tiny), std::move(evidence)), net(host) {
        net.SetParameterForImportanceSampling();
    }
    ~Prepared() { net.ClearImportanceParameter(); }
    SampleNode& node(int original) { return *net.nodes[host.engineIndex(original)]; }
    void setColumn(int original, std::vector<double> values) {
        for (std::size_t s = 0; s < values.size(); ++s) node(original).importanceTable->data[s] = values[s];
    }
    TestHost host;
    SampleNet net;
};

TinyNet single(std::vector<double> distribution) {
    TinyNet net;
    net.add(static_cast<int>(distribution.size()), {}, distribution);
    return net;
}

TEST(SetUp, ShapesStridesAndCopies) {
    TinyNet tiny;
    tiny.add(2, {}, {0.5, 0.5});
    tiny.add(4, {}, {0.25, 0.25, 0.25, 0.25});
    tiny.add(3, {}, {0.2, 0.3, 0.5});
    std::vector<double> table(48);
    for (int k = 0; k < 48; ++k) table[k] = (k % 2 == 0) ? 0.125 : 0.875;
    tiny.add(2, {0, 1, 2}, table);
    Prepared p(tiny);
    const SampleNode& x = p.node(3);
    EXPECT_EQ((std::vector<int>{x.parentStrides[0], x.parentStrides[1], x.parentStrides[2], x.parentStrides[3]}),
              (std::vector<int>{24, 12, 3, 1}));
    EXPECT_EQ(x.piWidth, 4);
    // Five vectors of 2 states, no child messages, two rows of 4 per parent
    // (this round's and the next), a product per parent configuration.
    EXPECT_EQ(x.MessageEntries(), 5u * 2 + 2 * 3 * 4 + 24);
    EXPECT_EQ(x.piProduct() - x.messages, 5 * 2 + 2 * 3 * 4);
    for (int k = 0; k < 48; ++k) {
        ASSERT_EQ(x.importanceTable->data[k], x.cpt->data[k]);
        ASSERT_EQ(x.totalTable->data[k], 0.0);
    }
    const SampleNode& root = p.node(0);
    EXPECT_EQ(root.parentStrides.numElements, 1);
    EXPECT_EQ(root.parentStrides[0], 1);
    EXPECT_EQ(root.MessageEntries(), 5u * 2 + 2 * 2 + 1);  // one child, two states
    // The products are the last buffer of the piece.
    EXPECT_EQ(x.piProduct() + x.parentStrides[0], x.messages + x.MessageEntries());
}

TEST(SetUp, TearDownReleasesTablesAndLeavesHostTablesIntact) {
    Prepared p(testing_support::sprinkler());
    p.net.ClearImportanceParameter();
    for (int i = 0; i < p.net.nodeCount; ++i) EXPECT_EQ(p.net.nodes[i]->importanceTable, nullptr);
    EXPECT_EQ(p.node(3).cpt->data[7], 0.99);
}

TEST(Draw, WalksTheColumnWithLessOrEqual) {
    Prepared p(single({0.2, 0.5, 0.3}));
    SampleNode& x = p.node(0);
    engine_random::SetSeed(testing_support::seedForNextDraw(9830));  // u = 0.29999...
    EXPECT_DOUBLE_EQ(x.takeImportanceSample(), 1.0);
    EXPECT_EQ(x.sampledState, 1);

    // A draw exactly equal to the first running sum selects state 0.
    const long long seed = testing_support::seedForNextDraw(8192);
    engine_random::SetSeed(seed);
    const double u = SampleNode::RandLcg();
    p.setColumn(0, {u, 0.75 - u, 0.25});
    engine_random::SetSeed(seed);
    EXPECT_EQ(x.takeImportanceSample(), 0.2 / u);
    EXPECT_EQ(x.sampledState, 0);

    p.setColumn(0, {0.0, 1.0, 0.0});
    for (int i = 0; i < 50; ++i) {
        EXPECT_DOUBLE_EQ(x.takeImportanceSample(), 0.5);
        ASSERT_EQ(x.sampledState, 1);
    }
}

TEST(Draw, RoundingShortfallTakesTheLastPossibleState) {
    Prepared p(single({0.3, 0.3, 0.4}));
    SampleNode& x = p.node(0);
    p.setColumn(0, {0.5, 0.4999999, 0.0});
    engine_random::SetSeed(testing_support::seedForNextDraw(0x7fff));  // u = 1 - 1e-11
    EXPECT_DOUBLE_EQ(x.takeImportanceSample(), 0.3 / 0.4999999);
    EXPECT_EQ(x.sampledState, 1);
}

TEST(Sample, WeightIsTheRatioProductAndStopsAtZero) {
    TinyNet tiny;
    tiny.add(2, {}, {0.0, 1.0});  // observed at state 0: impossible
    tiny.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    Prepared impossible(tiny, {0, -1});
    impossible.node(1).sampledState = -1;
    EXPECT_EQ(impossible.net.OneImportanceSample(), 0.0);
    EXPECT_EQ(impossible.node(1).sampledState, -1);  // never drawn

    // Observed child of a drawn root: weight = P(e | parent) * P(root) / I(root).
    Prepared p(testing_support::chain(2), {-1, 1});
    p.setColumn(0, {0.5, 0.5});
    for (int i = 0; i < 20; ++i) {
        const double w = p.net.OneImportanceSample();
        const int root = p.node(0).sampledState;
        const double expected = (root == 0 ? 0.3 : 0.7) / 0.5 * (root == 0 ? 0.2 : 0.75);
        EXPECT_DOUBLE_EQ(w, expected);
        EXPECT_EQ(p.node(1).sampledState, 1);
    }
}

TEST(Sample, OnlyAnExactZeroEndsIt) {
    // The fallback draw picks a state of importance 1e-310: the ratio
    // overflows, and the observed child's zero factor then makes the weight
    // NaN. The node after it is still drawn.
    TinyNet tiny;
    tiny.add(3, {}, {0.4, 0.6, 0.0});
    tiny.add(2, {0}, {0.5, 0.5, 0.0, 1.0, 0.5, 0.5});  // observed 0: impossible under the root's 1
    tiny.add(2, {1}, {0.5, 0.5, 0.5, 0.5});
    Prepared p(tiny, {-1, 0, -1});
    p.setColumn(0, {0.75, 1e-310, 0.0});
    p.node(2).sampledState = -1;
    engine_random::SetSeed(testing_support::seedForNextDraw(0x7fff));  // u = 1 - 1e-11
    const double w = p.net.OneImportanceSample();
    EXPECT_EQ(p.node(0).sampledState, 1);
    EXPECT_TRUE(std::isnan(w));
    EXPECT_NE(p.node(2).sampledState, -1);
}

TEST(Weights, InitAddAndNormalize) {
    Prepared p(testing_support::chain(3), {-1, 1, -1});
    p.net.InitAllWeights();
    EXPECT_EQ(p.node(1).weights[1], 1.0);
    p.node(0).sampledState = 1;
    p.node(2).sampledState = 0;
    p.net.AddWeight(2.0);
    p.net.AddWeight(0.0);
    p.net.AddWeight(-3.0);
    p.node(0).sampledState = 0;
    p.net.AddWeight(6.0);
    EXPECT_EQ(p.node(1).weights[1], 1.0);  // observed nodes never accumulate
    EXPECT_EQ(p.node(0).NormalizeWeight(), 8.0);
    EXPECT_EQ(p.node(0).weights[0], 0.75);
    EXPECT_EQ(p.node(0).weights[1], 0.25);
    p.node(2).weights[0] = p.node(2).weights[1] = 0.0;
    EXPECT_EQ(p.node(2).NormalizeWeight(), 0.0);
}

TEST(Heuristics, ThresholdAndUniformModes) {
    TinyNet tiny;
    tiny.add(3, {}, {0.95, 0.04, 0.01});
    tiny.add(3, {0}, {0.0, 0.97, 0.03, 0.5, 0.0, 0.5, 0.1, 0.1, 0.8});
    tiny.add(4, {1}, {0.5, 0.0, 0.3, 0.2, 0.25, 0.25, 0.25, 0.25, 0.4, 0.4, 0.1, 0.1});
    tiny.add(2, {2}, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5});
    Prepared p(tiny, {-1, -1, -1, 0});
    auto column = [&](int v, int c) {
        const SampleNode& x = p.node(v);
        return std::vector<double>(x.importanceTable->data.data + c * x.numStates,
                                   x.importanceTable->data.data + (c + 1) * x.numStates);
    };
    p.net.InitNormalizedTable(p.host.engineIndex(0), false);
    EXPECT_NEAR(column(0, 0)[0], 0.80, 1e-15);
    EXPECT_EQ(column(0, 0)[1], 0.1);
    EXPECT_EQ(column(0, 0)[2], 0.1);
    p.net.InitNormalizedTable(p.host.engineIndex(1), false);
    EXPECT_EQ(column(1, 0)[0], 0.0);
    EXPECT_NEAR(column(1, 0)[1], 0.9, 1e-15);
    EXPECT_EQ(column(1, 0)[2], 0.1);
    EXPECT_EQ(column(1, 2)[0], 0.1);  // equal to the threshold: not raised
    EXPECT_EQ(column(1, 2)[2], 0.8);
    p.net.InitNormalizedTable(p.host.engineIndex(2), true);
    EXPECT_EQ(column(2, 0), (std::vector<double>{1.0 / 3, 0.0, 1.0 / 3, 1.0 / 3}));
    // The observed node is not an ancestor of evidence: left as it was.
    p.net.InitNormalizedTable(p.host.engineIndex(3), true);
    EXPECT_EQ(p.node(3).importanceTable->data[0], 0.5);
}

TEST(Heuristics, TiesTakeTheDeficitFromTheLowerStateAndWideNodesGoUniform) {
    TinyNet tiny;
    tiny.add(3, {}, {0.48, 0.48, 0.04});
    std::vector<double> wide(21, 0.0);
    wide[0] = 0.9;
    wide[5] = 0.1;
    tiny.add(21, {}, wide);
    std::vector<double> twenty(20, 0.001);
    twenty[0] = 1.0 - 19 * 0.001;
    tiny.add(20, {}, twenty);
    tiny.add(2, {0, 1, 2}, std::vector<double>(3 * 21 * 20 * 2, 0.5));
    Prepared p(tiny, {-1, -1, -1, 1});
    for (int v = 0; v < 3; ++v) p.net.InitNormalizedTable(p.host.engineIndex(v), false);
    EXPECT_NEAR(p.node(0).importanceTable->data[0], 0.42, 1e-15);
    EXPECT_EQ(p.node(0).importanceTable->data[1], 0.48);
    EXPECT_EQ(p.node(1).importanceTable->data[0], 0.5);
    EXPECT_EQ(p.node(1).importanceTable->data[5], 0.5);
    EXPECT_EQ(p.node(1).importanceTable->data[1], 0.0);
    EXPECT_EQ(p.node(2).importanceTable->data[7], 0.0025);
    EXPECT_NEAR(p.node(2).importanceTable->data[0], twenty[0] - 19 * 0.0015, 1e-12);
}

TEST(Heuristics, ThresholdBandsFollowTheStateCount) {
    // Each root has a 0.03 and a 0.001 entry: the 0.1 floor raises both up to
    // 5 states, the 0.04 floor both from 6 to 8, the 0.0025 floor of 9 to 20
    // states only the smaller one.
    const std::vector<int> counts = {5, 6, 8, 9};
    TinyNet tiny;
    int sinkTable = 2;
    for (int n : counts) {
        std::vector<double> column(n, 0.0);
        column[1] = 0.03;
        column[2] = 0.001;
        column[0] = 1.0 - 0.031;
        tiny.add(n, {}, column);
        sinkTable *= n;
    }
    tiny.add(2, {0, 1, 2, 3}, std::vector<double>(sinkTable, 0.5));
    Prepared p(tiny, {-1, -1, -1, -1, 0});
    const std::vector<std::pair<double, double>> raised = {{0.1, 0.1}, {0.04, 0.04}, {0.04, 0.04}, {0.03, 0.0025}};
    for (std::size_t v = 0; v < counts.size(); ++v) {
        const int index = static_cast<int>(v);
        p.net.InitNormalizedTable(p.host.engineIndex(index), false);
        const double* importance = p.node(index).importanceTable->data.data;
        EXPECT_EQ(importance[1], raised[v].first) << counts[v] << " states";
        EXPECT_EQ(importance[2], raised[v].second) << counts[v] << " states";
    }
}

TEST(Learning, BlendsColumnsTowardsTheSampledDistribution) {
    TinyNet tiny;
    tiny.add(2, {}, {0.5, 0.5});
    tiny.add(2, {0}, {0.5, 0.5, 0.2, 0.8});
    tiny.add(2, {1}, {0.5, 0.5, 0.5, 0.5});
    Prepared p(tiny, {-1, -1, 0});
    SampleNode& x = p.node(1);
    p.net.learningRate = 0.4;
    x.totalTable->data[0] = 3.0;
    x.totalTable->data[1] = 1.0;  // column 1 never sampled
    p.net.NormalizeImportantTable(p.host.engineIndex(1));
    EXPECT_DOUBLE_EQ(x.importanceTable->data[0], 0.6);
    EXPECT_DOUBLE_EQ(x.importanceTable->data[1], 0.4);
    EXPECT_EQ(x.importanceTable->data[2], 0.2);
    EXPECT_EQ(x.importanceTable->data[3], 0.8);
    for (int k = 0; k < 4; ++k) EXPECT_EQ(x.totalTable->data[k], 0.0);

    // Accumulation: the square of importance entry times weight, unobserved only.
    p.setColumn(0, {0.25, 0.75});
    p.node(0).sampledState = 0;
    x.sampledState = 1;
    p.net.AddImportantTable(2.0, false);
    p.net.AddImportantTable(0.0, false);
    p.net.AddImportantTable(-1.0, false);
    EXPECT_EQ(p.node(0).totalTable->data[0], 0.25);
    EXPECT_DOUBLE_EQ(x.totalTable->data[1], 0.64);  // (0.4 learned above x 2)^2
    EXPECT_EQ(p.node(2).totalTable->data[2], 0.0);

    // The rate decays on every update, also with nothing to learn.
    Prepared plain(testing_support::chain(2));
    plain.net.learningRate = 0.4;
    plain.net.UpdateNormalizedTable();
    EXPECT_DOUBLE_EQ(plain.net.learningRate, 0.36);
}

}  // namespace
