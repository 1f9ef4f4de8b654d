#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include <nlohmann/json.hpp>

#include "lib/benchmark/accuracy_benchmark.h"
#include "lib/benchmark/report_format.h"
#include "lib/formats/formats.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using namespace samplenet;

Network alarm() { return readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/alarm.bif.gz"); }

TEST(EvidenceCases, LikelyAreForwardSamplesAndUnlikelyStayBelowTheBound) {
    const Network network = alarm();
    const JunctionTree exact(network);
    CaseOptions options;
    options.likelyCases = 4;
    options.unlikelyCases = 3;
    const auto cases = generateCases(network, exact, options);
    ASSERT_EQ(cases.size(), 7u);
    for (const EvidenceCase& c : cases) {
        EXPECT_EQ(c.evidence.hard.size(), 7u);  // 20% of 37
        ASSERT_EQ(c.named.size(), 7u);
        for (const auto& [v, state] : c.evidence.hard)
            EXPECT_EQ(c.named.at(network.variables[v].name), network.variables[v].states[state]);
        EXPECT_NEAR(c.log10Probability, exact.infer(c.evidence).logProbabilityOfEvidence / std::log(10.0), 1e-9);
        if (c.kind == CaseKind::Unlikely) {
            EXPECT_LT(c.log10Probability, -6.0);
        }
    }
    // Forward samples are typical: on alarm, far more probable than the bound.
    EXPECT_GT(cases[0].log10Probability, -6.0);

    const auto again = generateCases(network, exact, options);
    for (std::size_t i = 0; i < cases.size(); ++i) EXPECT_EQ(again[i].evidence.hard, cases[i].evidence.hard);
    options.seed = 2;
    EXPECT_NE(generateCases(network, exact, options)[0].evidence.hard, cases[0].evidence.hard);
}

TEST(AccuracyBenchmark, MeasuresDistancesToTheExactPosteriors) {
    // Loopy belief propagation is exact on a polytree: its distance must be
    // zero up to rounding, while a sampler's is small but positive.
    const Network network = testing_support::toNetwork(testing_support::polytree());
    const JunctionTree exact(network);
    CaseOptions caseOptions;
    caseOptions.likelyCases = 2;
    caseOptions.unlikelyCases = 0;
    caseOptions.observedFraction = 0.34;
    const auto cases = generateCases(network, exact, caseOptions);
    BenchmarkOptions options;
    options.algorithms = {Algorithm::Lbp, Algorithm::Epis};
    options.sampleCounts = {2000};
    const BenchmarkReport report = runBenchmark("polytree", network, exact, cases, options);

    ASSERT_EQ(report.rows.size(), 6u);  // exact, lbp, epis for each kind
    const BenchmarkRow& lbp = report.rows[1];
    EXPECT_EQ(lbp.algorithm, "lbp");
    EXPECT_EQ(lbp.cases, 2);
    EXPECT_LT(lbp.maxHellinger, 1e-7);
    const BenchmarkRow& epis = report.rows[2];
    EXPECT_EQ(epis.samples, 2000);
    EXPECT_GT(epis.meanHellinger, 0.0);
    EXPECT_LT(epis.maxHellinger, 0.05);
    EXPECT_GT(epis.samplesPerSecond, 0.0);
    EXPECT_EQ(report.rows[3].cases, 0);  // no unlikely cases asked for
    ASSERT_EQ(report.stages.size(), 1u);
    // Reported errors describe the true ones; LBP reports none.
    ASSERT_TRUE(epis.coverage.has_value());
    EXPECT_GT(*epis.coverage, 0.8);
    EXPECT_FALSE(lbp.coverage.has_value());
    EXPECT_FALSE(epis.targetMetShare.has_value());

    std::ostringstream json;
    writeReportJson(report, json);
    const auto parsed = nlohmann::json::parse(json.str());
    EXPECT_EQ(parsed.at("rows").size(), 6u);
    EXPECT_EQ(parsed.at("rows")[2].at("algorithm"), "epis");
    std::ostringstream csv;
    writeReportCsv(report, csv);
    const std::string lines = csv.str();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 7);

    // With a target error, how often the true error met it.
    options.inference.targetError = 0.02;
    const BenchmarkReport targeted = runBenchmark("polytree", network, exact, cases, options);
    ASSERT_TRUE(targeted.rows[2].targetMetShare.has_value());
    EXPECT_GE(*targeted.rows[2].targetMetShare, 0.5);
}

}  // namespace
