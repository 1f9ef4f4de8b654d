#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::dataFile;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetJson;
using cli_testing::runSamplenetOut;
using cli_testing::with;
using Posteriors = std::map<std::string, std::vector<double>>;

// Smoker -> Cough, Smoker -> Lungs. Given Cough = yes:
// P(Smoker = yes) = 0.3 * 0.8 / (0.3 * 0.8 + 0.7 * 0.1) = 24 / 31, and
// P(Lungs = damaged) = 0.4 * 24 / 31.
const double kSmokerGivenCough = 24.0 / 31.0;
const double kDamagedGivenCough = 0.4 * 24.0 / 31.0;

// epis given Cough = yes, seeded; the tests add how many samples to draw.
const std::vector<std::string> kEpisGivenCough{"infer", dataFile("smoker.bif"), "-a", "epis", "-e", "Cough=yes",
                                               "--seed", "5"};

Posteriors fromJson(const std::string& text) {
    const auto json = nlohmann::json::parse(text);
    Posteriors posteriors;
    for (const auto& entry : json.at("posteriors"))
        posteriors[entry.at("node").get<std::string>()] = entry.at("probabilities").get<std::vector<double>>();
    return posteriors;
}

Posteriors fromCsv(const std::string& text) {
    const std::vector<std::string> lines = cli_testing::split(text);
    // The samplers add each entry's standard error, all but lbp P(evidence).
    EXPECT_TRUE(lines.at(0) == "node,state,probability" ||
                lines.at(0) == "node,state,probability,ln_probability_of_evidence" ||
                lines.at(0) == "node,state,probability,standard_error,ln_probability_of_evidence")
        << lines.at(0);
    Posteriors posteriors;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::vector<std::string> cells = cli_testing::split(lines[i], ',');
        posteriors[cells.at(0)].push_back(std::stod(cells.at(2)));
    }
    return posteriors;
}

// A sampler's reported errors hold its distance from the known answer, in
// every format that shows them.
TEST(InferCommand, SamplersReportErrorsThatHoldTheirDistanceFromTheAnswer) {
    const std::vector<std::string> base = with(kEpisGivenCough, {"-n", "4000"});
    const auto json = nlohmann::json::parse(runSamplenet(with(base, {"--format", "json"})).out);
    const auto& smoker = json.at("posteriors").at(0);
    ASSERT_EQ(smoker.at("node"), "Smoker");
    const double error = smoker.at("standard_errors").at(0).get<double>();
    EXPECT_GT(error, 0.0);
    EXPECT_LT(std::abs(smoker.at("probabilities").at(0).get<double>() - kSmokerGivenCough), 4 * error);
    // P(Cough = yes) = 0.3 * 0.8 + 0.7 * 0.1.
    const double logP = json.at("ln_probability_of_evidence").get<double>();
    const double relative = json.at("probability_of_evidence_relative_error").get<double>();
    EXPECT_LT(std::abs(std::exp(logP) / 0.31 - 1.0), 4 * relative);
    EXPECT_GT(json.at("effective_sample_size").get<double>(), 1000.0);
    const std::string table = runSamplenet(base).out;
    EXPECT_NE(table.find("# error: largest standard error "), std::string::npos) << table;
    EXPECT_NE(table.find("std. error"), std::string::npos) << table;
}

// Fifty samples cannot carry a hundred effective ones: every output says the
// answer is unreliable, and none prints an error bound that looks precise.
TEST(InferCommand, MarksAnUnreliableSampledAnswerInEveryFormat) {
    const std::vector<std::string> few = with(kEpisGivenCough, {"-n", "50"});
    const auto run = runSamplenet(with(few, {"--format", "json"}));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_FALSE(json.at("reliable").get<bool>());
    EXPECT_NE(json.at("warning").get<std::string>().find("below the 100"), std::string::npos);
    EXPECT_NE(run.err.find("samplenet: warning: unreliable"), std::string::npos) << run.err;

    const std::string table = runSamplenet(few).out;
    EXPECT_NE(table.find("no error bound"), std::string::npos) << table;
    EXPECT_NE(table.find("\n# warning: unreliable"), std::string::npos) << table;
    EXPECT_NE(runSamplenet(with(few, {"--format", "html"})).out.find("<p class=\"warning\">unreliable"), std::string::npos);

    // An unmet target is a warning too; a met one is not.
    const auto unmet = runSamplenetJson(with(few, {"--target-error", "0.001", "--format", "json"}));
    EXPECT_FALSE(unmet.at("reliable").get<bool>());
    const auto met = runSamplenetJson(with(kEpisGivenCough, {"-n", "4000", "--target-error", "0.05", "--format", "json"}));
    EXPECT_TRUE(met.at("target_met").get<bool>());
    EXPECT_TRUE(met.at("reliable").get<bool>());
    EXPECT_FALSE(met.contains("warning"));
}

// A target error without -n is met however many samples it takes (within
// the time); -n caps it.
TEST(InferCommand, OnlyAGivenSampleCountCapsATargetError) {
    const std::vector<std::string> arguments =
        with(kEpisGivenCough, {"--target-error", "0.003", "--max-seconds", "3600", "--format", "json"});
    const auto uncapped = runSamplenet(arguments);
    const auto json = nlohmann::json::parse(uncapped.out);
    EXPECT_TRUE(json.at("samples").is_null());
    EXPECT_GT(json.at("samples_drawn").get<long>(), 100000);
    EXPECT_TRUE(json.at("target_met").get<bool>());
    EXPECT_EQ(uncapped.err, "");

    const auto capped = runSamplenet(with(arguments, {"-n", "100000"}));
    EXPECT_EQ(nlohmann::json::parse(capped.out).at("samples_drawn").get<long>(), 100000);
    EXPECT_NE(capped.err.find("was not met after 100000 samples (raise -n or --max-seconds)"), std::string::npos)
        << capped.err;
}

TEST(InferCommand, KnownPosteriorInEveryFormat) {
    const std::vector<std::string> base{"infer", dataFile("smoker.bif"), "-e", "Cough=yes", "-a", "lbp"};
    auto withFormat = [&](const std::string& format) {
        const auto run = runSamplenet(with(base, {"--format", format}));
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.err, "");
        return run.out;
    };
    for (const Posteriors& posteriors : {fromJson(withFormat("json")), fromCsv(withFormat("csv"))}) {
        ASSERT_EQ(posteriors.size(), 3u);
        EXPECT_NEAR(posteriors.at("Smoker")[0], kSmokerGivenCough, 1e-12);
        EXPECT_NEAR(posteriors.at("Lungs")[0], kDamagedGivenCough, 1e-12);
        EXPECT_EQ(posteriors.at("Cough"), (std::vector<double>{1.0, 0.0}));
    }
    const std::string table = withFormat("table");
    EXPECT_NE(table.find("# evidence: Cough=yes"), std::string::npos) << table;
    EXPECT_NE(table.find("\nSmoker  yes      0.774194\n"), std::string::npos) << table;
    EXPECT_NE(table.find("\nLungs   damaged  0.309677\n"), std::string::npos) << table;

    // The json report also says how it was computed.
    const auto json = nlohmann::json::parse(withFormat("json"));
    EXPECT_EQ(json.at("algorithm"), "lbp");
    EXPECT_EQ(json.at("evidence").at("Cough"), "yes");
    EXPECT_EQ(json.at("posteriors")[0].at("states"), (std::vector<std::string>{"yes", "no"}));
}

TEST(InferCommand, SamplersLikelihoodsQueriesAndEvidenceFiles) {
    // 0.3 * (0.8 + 0.2 * 0.5) / (0.3 * 0.9 + 0.7 * (0.1 + 0.9 * 0.5))
    const double smokerGivenLikelihood = 0.27 / 0.655;
    const std::string likelihood =
        runSamplenetOut({"infer", dataFile("smoker.bif"), "-e", "Cough=[1, 0.5]", "-a", "lbp", "--format", "json"});
    EXPECT_NEAR(fromJson(likelihood).at("Smoker")[0], smokerGivenLikelihood, 1e-12);

    for (const std::string algorithm : {"epis", "ais"}) {
        const auto run = runSamplenet({"infer", dataFile("smoker.bif"), "--evidence-file", dataFile("smoker.evidence"), "-a",
                            algorithm, "-n", "20000", "--seed", "7", "-q", "Lungs", "-q", "Smoker", "--format",
                            "csv"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const Posteriors posteriors = fromCsv(run.out);
        ASSERT_EQ(posteriors.size(), 2u) << run.out;
        EXPECT_EQ(run.out.find("Lungs"), run.out.find('\n') + 1) << "queried order kept";
        // 20000 samples: standard error below 0.004.
        EXPECT_NEAR(posteriors.at("Smoker")[0], kSmokerGivenCough, 0.015) << algorithm;
        EXPECT_NEAR(posteriors.at("Lungs")[0], kDamagedGivenCough, 0.015) << algorithm;
    }
}

// A large network's JSON is written a piece at a time: the text must still
// be the one document dump(2) prints, across the joins of the pieces, and
// the same in a file as on standard output.
TEST(InferCommand, JsonOfManyNodesIsOneDocumentInPieces) {
    const testing_support::ScratchFolder directory;
    const std::string network = directory.file("net.uai");
    ASSERT_EQ(runSamplenet({"generate", "--nodes", "6000", "--states", "2,3", network}).exitCode, 0);
    const std::vector<std::string> arguments{"infer", network, "-a", "epis", "-n", "200", "--seed", "5",
                                             "-e", "v5999=s0", "--format", "json"};
    const auto printed = runSamplenet(arguments);
    ASSERT_EQ(printed.exitCode, 0) << printed.err;
    EXPECT_GT(printed.out.size(), std::size_t{1} << 20);  // more than one piece
    const auto document = nlohmann::ordered_json::parse(printed.out);
    EXPECT_EQ(document.at("posteriors").size(), 6000u);
    EXPECT_EQ(printed.out, document.dump(2) + "\n");
    const std::string file = directory.file("out.json");
    ASSERT_EQ(runSamplenet(with(arguments, {"-o", file})).exitCode, 0);
    // The run's seconds differ; everything else is the same text.
    auto written = nlohmann::ordered_json::parse(cli_testing::fileContents(file));
    auto shown = document;
    written.erase("seconds");
    shown.erase("seconds");
    EXPECT_EQ(written.dump(2), shown.dump(2));
}

// Two billion samples would take minutes; the budget stops each sampler
// within it, and every format says how many samples were drawn.
TEST(InferCommand, TimeBudgetStopsSamplingAndSaysHowFar) {
    for (const char* algorithm : {"epis", "ais"}) {
        const auto start = std::chrono::steady_clock::now();
        const auto run = runSamplenet({"infer", dataFile("smoker.bif"), "-e", "Cough=yes", "-a", algorithm, "-n",
                                       "2000000000", "--max-seconds", "0.3", "--format", "json"});
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ASSERT_EQ(run.exitCode, 0) << algorithm << "\n" << run.err;
        EXPECT_LT(seconds, 20.0) << algorithm;
        const auto json = nlohmann::json::parse(run.out);
        const long drawn = json.at("samples_drawn").get<long>();
        EXPECT_GE(drawn, 4095) << algorithm;
        EXPECT_LT(drawn, 2000000000) << algorithm;
        EXPECT_EQ(json.at("samples").get<long>(), 2000000000) << algorithm;
        EXPECT_NEAR(fromJson(run.out).at("Smoker")[0], kSmokerGivenCough, 0.02) << algorithm;
        EXPECT_EQ(run.err, "samplenet: note: the time limit of 0.3 s stopped sampling after " + std::to_string(drawn) +
                               " of 2000000000 samples\n");
    }
    const std::string table =
        runSamplenetOut({"infer", dataFile("smoker.bif"), "-a", "epis", "-n", "2000000000", "--max-seconds", "0.2"});
    EXPECT_NE(table.find(" of 2000000000 samples (time limit 0.2 s)"), std::string::npos) << table;
}

// Without -a the choice is automatic: exact where the junction tree is
// small, and the report says so, with P(evidence).
TEST(InferCommand, ChoosesAutomaticallyAndSaysWhy) {
    const std::string out = runSamplenetOut({"infer", dataFile("smoker.bif"), "-e", "Cough=yes", "--format", "json"});
    const auto json = nlohmann::json::parse(out);
    EXPECT_EQ(json.at("algorithm"), "exact");
    EXPECT_EQ(json.at("chosen_because").get<std::string>().rfind("exact: the junction tree holds ", 0), 0u);
    EXPECT_NEAR(fromJson(out).at("Smoker")[0], kSmokerGivenCough, 1e-12);
    EXPECT_NEAR(json.at("ln_probability_of_evidence").get<double>(), std::log(0.31), 1e-12);
    const auto table = runSamplenet({"infer", dataFile("smoker.bif"), "-e", "Cough=yes", "-a", "exact"});
    EXPECT_NE(table.out.find("exact, P(evidence) = 0.31 "), std::string::npos) << table.out;
}

// Loopy propagation "converges" to a fixed point that may be far from the
// posteriors; what it printed read as if the beliefs were then accurate.
TEST(InferCommand, LoopyPropagationSaysWhatConvergedMeans) {
    const std::string means =
        "a fixed point was reached (no belief changed by more than the tolerance), not that the beliefs are accurate: "
        "loopy belief propagation gives no error bound";
    const std::vector<std::string> lbp{"infer", dataFile("smoker.bif"), "-e", "Cough=yes", "-a", "lbp", "--tolerance", "1e-9"};
    const std::string table = runSamplenetOut(lbp);
    EXPECT_NE(table.find(", converged (last change"), std::string::npos) << table;
    EXPECT_NE(table.find("\n# note: \"converged\" means " + means + "\n"), std::string::npos) << table;
    const auto json = nlohmann::json::parse(runSamplenet(with(lbp, {"--format", "json"})).out);
    EXPECT_EQ(json.at("converged"), true);
    EXPECT_EQ(json.at("converged_means"), means);

    EXPECT_EQ(runSamplenet(with(lbp, {"--iterations", "1"})).out.find("# note: \"converged\""), std::string::npos);
}

TEST(InferCommand, RunsTheBuiltInExampleFromAnyDirectory) {
    const auto run = runSamplenet({"infer", "-n", "2000", "--format", "json"}, "/");
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json.at("posteriors").size(), 37u);
    for (const auto& entry : json.at("posteriors")) {
        double total = 0.0;
        for (double p : entry.at("probabilities")) total += p;
        EXPECT_NEAR(total, 1.0, 1e-9) << entry.at("node");
    }
}

}  // namespace
