#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "lib/benchmark/accuracy_benchmark.h"
#include "lib/benchmark/marginal_comparison.h"
#include "lib/benchmark/reference_marginals.h"
#include "lib/benchmark/report_format.h"
#include "lib/benchmark/uai_benchmark.h"
#include "lib/benchmark/uai_report_format.h"
#include "lib/formats/formats.h"
#include "lib/formats/text_util.h"
#include "lib/formats/uai.h"
#include "lib/model/errors.h"
#include "tests/support/error_message.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using namespace samplenet;
using testing_support::messageOf;
namespace fs = std::filesystem;

TEST(EvidenceCases, LikelyAreForwardSamplesAndUnlikelyStayBelowTheBound) {
    const Network network = readNetwork(SAMPLENET_TEST_DATA "/networks/alarm.bif.gz");
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

// A bundled instance, with its evidence and published marginals beside it.
const std::string kPromedus = SAMPLENET_TEST_DATA "/uai2014/Promedus_24.uai";

std::string parseErrorOf(const std::string& text) {
    return messageOf<ParseError>([&] { readReferenceMarginals(text, "ref.MAR"); });
}

TEST(ReferenceMarginals, ReadsNumbersSpreadOverLinesAndRejectsWhatIsNotTheFormat) {
    const auto marginals = readReferenceMarginals("MAR\n3 2 0.25 0.75\n3 0.1\n0.2 0.7 2 0 1\n", "ref.MAR");
    ASSERT_EQ(marginals.size(), 3u);
    EXPECT_EQ(marginals[0], (std::vector<double>{0.25, 0.75}));
    EXPECT_EQ(marginals[1], (std::vector<double>{0.1, 0.2, 0.7}));
    EXPECT_EQ(marginals[2], (std::vector<double>{0.0, 1.0}));
    EXPECT_EQ(readReferenceMarginals("MAR 1 2 1e-7 0.9999999", "ref.MAR")[0][0], 1e-7);

    EXPECT_EQ(parseErrorOf("MAR 2 2 0.5 0.5 2 0.5"), "ref.MAR:1: expected probability, found end of file");
    EXPECT_EQ(parseErrorOf("MAR 1 2 0.5 0.5 0.1"),
              "ref.MAR:1: expected end of file after the marginals of 1 variables, found '0.1'");
    EXPECT_EQ(parseErrorOf("MAR 3 2 0.5 0.5"), "ref.MAR:1: expected state count of variable 1, found end of file");
    EXPECT_EQ(parseErrorOf("MAR 1 2 0.5 abc"), "ref.MAR:1: expected probability, found 'abc'");
    EXPECT_NE(parseErrorOf("MAR 1 2 0.5 -0.5").find("ref.MAR:1: expected non-negative probability"),
              std::string::npos);
    EXPECT_EQ(parseErrorOf("MAR\n1.5 2 0.5 0.5"), "ref.MAR:2: expected variable count, found '1.5'");
    EXPECT_EQ(parseErrorOf("PR 1 2 0.5 0.5"), "ref.MAR:1: expected 'MAR', found 'PR'");
    EXPECT_EQ(parseErrorOf(""), "ref.MAR:1: expected 'MAR', found end of file");
}

TEST(ReferenceMarginals, MustHaveTheNetworksShape) {
    // v0 with 2 states, v1 with 3.
    const Network network = readUai("BAYES 2 2 3 2 1 0 2 0 1 2 0.4 0.6 6 0.2 0.3 0.5 0.1 0.1 0.8", "net.uai");
    const std::vector<std::vector<double>> good{{0.4, 0.6}, {0.14, 0.18, 0.68}};
    EXPECT_EQ(marginalsOfNetwork(network, good, "net.uai.MAR"), good);
    EXPECT_EQ(messageOf<ParseError>([&] { marginalsOfNetwork(network, {{0.4, 0.6}}, "net.uai.MAR"); }),
              "net.uai.MAR: holds the marginals of 1 variables, the network has 2");
    EXPECT_EQ(messageOf<ParseError>([&] { marginalsOfNetwork(network, {{0.4, 0.6}, {0.5, 0.5}}, "net.uai.MAR"); }),
              "net.uai.MAR: variable 1 has 2 states in the marginals, 3 in the network");
}

TEST(MarginalComparison, LargestErrorOverReportedEntriesHellingerOverUnobserved) {
    const std::vector<std::vector<double>> reference{{0.5, 0.5}, {0.0, 1.0}, {0.36, 0.64}};
    Evidence evidence;
    evidence.hard[1] = 1;
    // Variable 1 is observed and off by 0.3 on purpose: its error counts in
    // the largest, but not in the Hellinger mean.
    const std::vector<std::vector<double>> posteriors{{0.5, 0.5}, {0.3, 0.7}, {0.64, 0.36}};
    const MarginalComparison all = compareMarginals(posteriors, {true, true, true}, reference, evidence);
    EXPECT_DOUBLE_EQ(all.largestError, 0.3);
    // Hellinger of (0.64, 0.36) against (0.36, 0.64): sqrt(((0.8-0.6)^2 * 2) / 2) = 0.2; mean with 0.
    EXPECT_DOUBLE_EQ(all.meanHellinger, 0.1);

    const MarginalComparison unreported = compareMarginals(posteriors, {true, false, true}, reference, evidence);
    EXPECT_DOUBLE_EQ(unreported.largestError, 0.28);
    EXPECT_DOUBLE_EQ(unreported.meanHellinger, 0.1);
    EXPECT_THROW(compareMarginals(posteriors, {false, true, true}, reference, evidence), std::invalid_argument);

    const std::vector<std::vector<double>> broken{{0.5, 0.5}, {0.0, 1.0}, {std::nan(""), 0.64}};
    EXPECT_TRUE(std::isnan(compareMarginals(broken, {true, true, true}, reference, evidence).largestError));
}

TEST(UaiBenchmark, ExactAgreesWithThePublishedMarginalsAndFailuresAreRecorded) {
    const testing_support::ScratchFolder folder;
    for (const std::string suffix : {"", ".evid", ".MAR"})
        fs::copy_file(kPromedus + suffix, folder.file("Promedus_24.uai" + suffix));
    // Not an instance: no reference beside it.
    fs::copy_file(kPromedus, folder.file("Lone.uai"));

    const std::vector<UaiInstance> instances = readUaiInstances(folder.path().string());
    ASSERT_EQ(instances.size(), 1u);
    EXPECT_EQ(instances[0].name, "Promedus_24");
    EXPECT_THROW(readUaiInstances(folder.path().string(), {"Lone"}), std::invalid_argument);

    UaiBenchmarkOptions options;
    options.algorithms = {Algorithm::Exact};
    const UaiBenchmarkReport report = runUaiBenchmark(instances, options);
    ASSERT_EQ(report.runs.size(), 1u);
    const UaiRun& exact = report.runs[0];
    ASSERT_TRUE(exact.answered()) << exact.failure;
    EXPECT_LT(exact.accuracy.largestError, 1e-5);
    EXPECT_LT(exact.accuracy.meanHellinger, 1e-5);
    EXPECT_GT(exact.cpuSeconds, 0.0);
    EXPECT_FALSE(exact.errorBound.has_value());
    ASSERT_EQ(report.summary.size(), 1u);
    EXPECT_EQ(report.summary[0].withinHundredth, 1);

    // Evidence of probability 0 fails every algorithm; the benchmark records
    // why and goes on to the next instance, where a sampled answer carries
    // a bound.
    UaiInstance impossible{"Impossible", readUai("BAYES 1 2 1 1 0 2 1 0", "impossible.uai"), {}, {{1.0, 0.0}}};
    impossible.evidence.hard[0] = 1;
    options.algorithms = {Algorithm::Exact, Algorithm::Epis};
    options.inference.samples = 2000;
    options.inference.seed = 1;
    options.within = 0.5;
    const UaiBenchmarkReport limited = runUaiBenchmark({impossible, instances[0]}, options);
    ASSERT_EQ(limited.runs.size(), 4u);
    EXPECT_EQ(limited.runs[0].instance, "Impossible");
    EXPECT_FALSE(limited.runs[0].answered());
    EXPECT_FALSE(limited.runs[1].answered());
    EXPECT_EQ(limited.summary[0].failures, 1);
    EXPECT_EQ(limited.summary[0].withinHundredth, 1);
    const UaiRun& epis = limited.runs[3];
    EXPECT_EQ(epis.algorithm, "epis");
    ASSERT_TRUE(epis.answered()) << epis.failure;
    EXPECT_EQ(epis.samples, 2000);
    ASSERT_TRUE(epis.errorBound.has_value());
    EXPECT_EQ(epis.boundHeld(), *epis.errorBound >= epis.accuracy.largestError);
    EXPECT_EQ(limited.summary[1].bounds, 1);
    EXPECT_EQ(limited.summary[1].withinGiven, epis.accuracy.largestError <= 0.5 ? 1 : 0);

    // Machine-read forms keep a failure's message whole and its numbers empty.
    std::ostringstream json, csv;
    writeUaiReportJson(limited, json);
    const auto parsed = nlohmann::json::parse(json.str());
    EXPECT_EQ(parsed["runs"][0]["failure"], limited.runs[0].failure);
    EXPECT_TRUE(parsed["runs"][0]["largest_error"].is_null());
    EXPECT_EQ(parsed["summary"][1]["bounds"], 1);
    writeUaiReportCsv(limited, csv);
    EXPECT_NE(csv.str().find("Promedus_24,exact,"), std::string::npos);
    EXPECT_NE(csv.str().find(",,,,,,," + csvField(limited.runs[0].failure) + "\n"), std::string::npos) << csv.str();
}

TEST(UaiBenchmark, AMarginalsFileOfAnotherShapeIsAnErrorNamingIt) {
    const testing_support::ScratchFolder folder;
    for (const std::string suffix : {"", ".evid"})
        fs::copy_file(kPromedus + suffix, folder.file("Promedus_24.uai" + suffix));
    std::ofstream(folder.file("Promedus_24.uai.MAR")) << "MAR 1 2 0.5 0.5\n";
    try {
        readUaiInstances(folder.path().string());
        ADD_FAILURE() << "a reference of another shape passed";
    } catch (const ParseError& error) {
        EXPECT_EQ(error.path, folder.file("Promedus_24.uai.MAR"));
    }
}

}  // namespace
