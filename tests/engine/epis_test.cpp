#include <gtest/gtest.h>

#include "engine/samplenet.h"
#include "tests/engine/engine_run.h"
#include "tests/support/brute_force.h"

namespace {

using namespace testing_support;

// Over 30 seeds at 20000 samples the worst error of a run on these networks
// stayed below 0.01; 0.02 leaves room without hiding a wrong table.
constexpr double kTolerance = 0.02;

TEST(EpisAccuracy, MatchesEnumerationWithLikelyAndVeryUnlikelyEvidence) {
    const std::vector<EvidenceCase> cases = {
        {"sprinkler, wet grass", sprinkler(), {-1, -1, -1, 1}},
        {"loopy, two observed", threeLayerLoopy(), {-1, -1, 1, -1, -1, -1, 2}},
        {"polytree, leaves observed", polytree(), {-1, -1, -1, -1, 1, 0}},
        {"rare fault, all sensors alarm", rareFault(), allSensorsAlarm()},
    };
    expectNearEnumeration(cases, Driver::Epis, 20000, kTolerance);
}

TEST(EpisAccuracy, PropagationBeatsSamplingFromTheNetworkItself) {
    // With no propagation the importance tables are the network's own tables
    // (cut off at epsilon): close to likelihood weighting, which rarely draws
    // the fault that explains the evidence.
    const ExactAnswer exact = enumerate(rareFault(), allSensorsAlarm());
    double withPropagation = 0.0, without = 0.0;
    for (long seed = 1; seed <= 8; ++seed) {
        TestHost propagated(rareFault(), allSensorsAlarm());
        propagated.sampleCount = 5000;
        ASSERT_EQ(runDriver(propagated, Driver::Epis, seed), 0);
        withPropagation += worstHellinger(propagated, exact.posteriors);
        TestHost plain(rareFault(), allSensorsAlarm());
        plain.sampleCount = 5000;
        plain.params.propagationLength = 0;
        ASSERT_EQ(runDriver(plain, Driver::Epis, seed), 0);
        without += worstHellinger(plain, exact.posteriors);
    }
    EXPECT_LT(withPropagation * 3, without);
}

TEST(EpisRun, IterationsAreTheSmallerOfDepthAndPropagationLength) {
    auto run = [](int depth, int length) {
        TestHost host(chain(5), {-1, -1, -1, -1, 1});
        host.sampleCount = 300;
        host.depth = depth;
        host.params.propagationLength = length;
        EXPECT_EQ(runDriver(host, Driver::Epis), 0);
        return host.allBeliefs();
    };
    EXPECT_EQ(run(2, 9), run(9, 2));
    EXPECT_NE(run(2, 9), run(3, 9));
    EXPECT_EQ(run(0, 9), run(9, -1));
}

// Both samplers end a run alike: evidence that no sample meets and a run
// of no samples stop at the first unobserved node, which is marked once
// more than its index; no nodes, or none to draw, is a run that succeeds.
TEST(SamplerFailure, NoSampleWithMassNoSamplesAndTrivialRuns) {
    TinyNet net;
    net.add(2, {}, {0.5, 0.5});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    net.add(2, {1}, {1.0, 0.0, 1.0, 0.0});  // state 1 impossible
    for (const Driver driver : {Driver::Epis, Driver::Ais}) {
        SCOPED_TRACE(driver == Driver::Epis ? "epis" : "ais");
        TestHost impossible(net, {0, -1, 1});
        EXPECT_EQ(runDriver(impossible, driver), -5);
        EXPECT_EQ(impossible.valueValidCalls, (std::vector<int>{0, 1, 1}));
        EXPECT_EQ(impossible.beliefs(0), (std::vector<double>{1.0, 0.0}));
        EXPECT_EQ(impossible.beliefs(1), (std::vector<double>{-1.0, -1.0}));  // untouched

        TestHost noSamples(chain(3), {1, -1, -1});
        noSamples.sampleCount = 0;
        EXPECT_EQ(runDriver(noSamples, driver), -5);
        EXPECT_EQ(noSamples.valueValidCalls, (std::vector<int>{0, 1, 1}));

        TestHost empty(TinyNet{});
        empty.sampleCount = 7;
        EXPECT_EQ(runDriver(empty, driver), 0);
        EXPECT_EQ(empty.partialOrderingCalls, 1);
        EXPECT_EQ(empty.sampleCountQueries, 8);

        TestHost observed(chain(3), {1, 0, 1});
        observed.sampleCount = 0;
        EXPECT_EQ(runDriver(observed, driver), 0);
        EXPECT_EQ(observed.beliefs(1), (std::vector<double>{1.0, 0.0}));
        EXPECT_EQ(observed.beliefs(2), (std::vector<double>{0.0, 1.0}));
    }
}

TEST(EpisRun, DriversRunOneAfterAnotherWithoutInterfering) {
    const std::vector<int> evidence = {-1, -1, 1, -1, -1, -1, 2};
    TestHost first(threeLayerLoopy(), evidence);
    first.sampleCount = 2000;
    ASSERT_EQ(runDriver(first, Driver::Epis, 42), 0);
    TestHost ais(threeLayerLoopy(), evidence);
    ASSERT_EQ(runDriver(ais, Driver::Ais, 43), 0);
    TestHost lbp(threeLayerLoopy(), evidence);
    ASSERT_EQ(runDriver(lbp, Driver::Lbp), 0);
    TestHost again(threeLayerLoopy(), evidence);
    again.sampleCount = 2000;
    ASSERT_EQ(runDriver(again, Driver::Epis, 42), 0);
    EXPECT_EQ(first.allBeliefs(), again.allBeliefs());
}

// A prepared network whose node 0 is an unobserved ancestor of evidence with
// `states` states; its importance column can be set directly.
struct CutOff {
    explicit CutOff(int states) : host(net(states), {-1, 0}), sampleNet(host) {
        host.params = {4, 4, 7, 20, 0.01, 0.02, 0.03, 0.04};
        sampleNet.SetParameterForImportanceSampling();
    }
    ~CutOff() { sampleNet.ClearImportanceParameter(); }
    static TinyNet net(int states) {
        TinyNet tiny;
        tiny.add(states, {}, std::vector<double>(states, 1.0 / states));
        tiny.add(1, {0}, std::vector<double>(states, 1.0));
        return tiny;
    }
    std::vector<double> apply(std::vector<double> column, bool makeUniform = false) {
        QVR_doubleArray& table = sampleNet.nodes[0]->importanceTable->data;
        for (std::size_t s = 0; s < column.size(); ++s) table[s] = column[s];
        sampleNet.InitPosteriorTable(0, makeUniform);
        return std::vector<double>(table.data, table.data + table.numElements);
    }
    TestHost host;
    SampleNet sampleNet;
};

void expectColumn(const std::vector<double>& actual, const std::vector<double>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t s = 0; s < expected.size(); ++s) EXPECT_NEAR(actual[s], expected[s], 1e-15) << s;
}

TEST(EpsilonCutOff, RaisesSmallEntriesAndTakesEqualSharesBackOnlyOnAncestorsOfEvidence) {
    CutOff untouched(3);
    untouched.sampleNet.nodes[0]->changeFlag = false;
    expectColumn(untouched.apply({0.995, 0.004, 0.001}), {0.995, 0.004, 0.001});

    CutOff three(3);
    expectColumn(three.apply({0.995, 0.004, 0.001}), {0.98, 0.01, 0.01});
    expectColumn(three.apply({0.995, 0.005, 0.0}), {0.99, 0.01, 0.0});
    expectColumn(three.apply({0.6, 0.395, 0.005}), {0.5975, 0.3925, 0.01});
    expectColumn(three.apply({0.985, 0.01, 0.005}), {0.9825, 0.01, 0.01});
    expectColumn(three.apply({0.7, 0.2, 0.1}), {0.7, 0.2, 0.1});
    expectColumn(three.apply({0.7, 0.0, 0.3}, true), {0.5, 0.0, 0.5});
    expectColumn(three.apply({0.0, 0.0, 0.0}, true), {0.0, 0.0, 0.0});

    // What it takes back is not clamped.
    CutOff seven(7);
    seven.host.params.stateCountLimit1 = 7;
    expectColumn(seven.apply({0.5, 0.011, 0.0025, 0.0025, 0.0025, 0.0025, 0.479}),
                 {0.49, 0.001, 0.01, 0.01, 0.01, 0.01, 0.469});
}

TEST(EpsilonCutOff, EpsilonBandsFollowTheStateCount) {
    // 0.001 is raised to the band's epsilon; the largest entry pays for it.
    for (auto [states, epsilon] : std::vector<std::pair<int, double>>{{4, 0.01}, {5, 0.02}, {20, 0.03}, {21, 0.04}}) {
        CutOff cut(states);
        std::vector<double> column(states, 0.0);
        column[0] = 0.999;
        column[1] = 0.001;
        const std::vector<double> result = cut.apply(column);
        EXPECT_EQ(result[1], epsilon) << states;
        EXPECT_NEAR(result[0], 0.999 - (epsilon - 0.001), 1e-15) << states;
    }
}

}  // namespace
