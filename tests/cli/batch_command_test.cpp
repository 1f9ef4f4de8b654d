#include <gtest/gtest.h>

#include <algorithm>

#include <cmath>

#include "lib/batch/batch_case.h"
#include "tests/cli/run_samplenet.h"

namespace {

using cli_testing::dataFile;
using cli_testing::expectRefusal;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetOut;
using cli_testing::scratchFile;
using cli_testing::split;

const std::string kAlarm = std::string(SAMPLENET_TEST_DATA) + "/networks/alarm.bif.gz";

// How batch's row `row` starts when it is infer's run with `arguments`:
// the row number and the posteriors, then with `errors` their standard
// errors, from infer's CSV (node,state,probability,standard_error,...).
std::string rowOfInfer(const std::string& row, const std::vector<std::string>& arguments, bool errors) {
    const std::string csv = runSamplenetOut(cli_testing::with(arguments, {"--format", "csv"}));
    std::string posteriors = row, standardErrors;
    for (const std::string& line : split(csv)) {
        if (line.rfind("node,", 0) == 0) continue;
        const std::vector<std::string> cells = split(line, ',');
        posteriors += "," + cells.at(2);
        standardErrors += "," + cells.at(3);
    }
    return posteriors + (errors ? standardErrors : "") + ",";
}

TEST(BatchCommand, EachRowEqualsInferWithTheCaseSeedWhateverTheJobs) {
    const std::string cases = scratchFile(
        "alarm_cases.csv", "BP,HRSAT,CVP\nLOW,HIGH,\n,LOW,\"[0.2,0.5,0.3]\"\nHIGH,,\n,,\nNORMAL,HIGH,LOW\n");
    std::string first;
    for (const char* jobs : {"1", "2", "3"}) {
        const std::string out = runSamplenetOut(
            {"batch", kAlarm, cases, "-n", "1000", "--seed", "17", "-q", "HYPOVOLEMIA", "-q", "CO", "-j", jobs});
        if (first.empty()) first = out;
        EXPECT_EQ(out, first) << "with " << jobs << " jobs";
    }
    const auto rows = split(first);
    ASSERT_EQ(rows.size(), 6u);
    EXPECT_EQ(rows[0],
              "row,HYPOVOLEMIA=TRUE,HYPOVOLEMIA=FALSE,CO=LOW,CO=NORMAL,CO=HIGH,ln_probability_of_evidence,"
              "probability_of_evidence_relative_error,effective_sample_size,error_bound,reliable");

    // Row 2 is case 1: infer with that case's seed prints the same numbers.
    // After the posteriors, the estimate of P(evidence), its error, the
    // effective sample size, the error bound and whether it is reliable.
    const std::string expected =
        rowOfInfer("2", {"infer", kAlarm, "-a", "epis", "-e", "HRSAT=LOW", "-e", "CVP=[0.2,0.5,0.3]", "-n", "1000",
                         "--seed", std::to_string(samplenet::caseSeed(17, 1)), "-q", "HYPOVOLEMIA", "-q", "CO"},
                   false);
    EXPECT_EQ(rows[2].substr(0, expected.size()), expected);
    EXPECT_EQ(std::count(rows[2].begin(), rows[2].end(), ','), 10);
}

TEST(BatchCommand, ExactRowsCarryTheProbabilityOfTheEvidence) {
    const std::string text = "Cough,Lungs\nyes,\n\"[0.8,0.1]\",healthy\n";
    const std::string cases = scratchFile("smoker_cases.csv", text);
    const std::string printed =
        runSamplenetOut({"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-q", "Smoker", "-j", "2"});
    const auto rows = split(printed);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], "row,Smoker=yes,Smoker=no,ln_probability_of_evidence");
    double smoker = 0, logP = 0;
    ASSERT_EQ(std::sscanf(rows[1].c_str(), "1,%lf,%*f,%lf", &smoker, &logP), 2);
    EXPECT_NEAR(smoker, 24.0 / 31.0, 1e-12);
    EXPECT_NEAR(logP, std::log(0.31), 1e-12);
    EXPECT_EQ(rows[2].substr(0, 2), "2,");

    // A byte-order mark, as some spreadsheets write, changes nothing.
    const std::string marked = scratchFile("marked_cases.csv", "\xEF\xBB\xBF" + text);
    EXPECT_EQ(runSamplenetOut({"batch", dataFile("smoker.bif"), marked, "-a", "exact", "-q", "Smoker"}), printed);
}

TEST(BatchCommand, BadRowsAreReportedByNumberAndSkippedOrFailTheRun) {
    const std::string cases =
        scratchFile("bad_rows.csv", "Smoker,Lungs\nyes,\nmaybe,\nno,damaged\nno,healthy,extra\n,healthy\n");
    const auto skipped = runSamplenet({"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-j", "2"});
    EXPECT_EQ(skipped.exitCode, 0) << skipped.err;
    const auto rows = split(skipped.out);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[1].substr(0, 2), "1,");
    EXPECT_EQ(rows[2].substr(0, 2), "5,");
    EXPECT_NE(skipped.err.find("bad_rows.csv: row 2: unknown state \"maybe\" of \"Smoker\""), std::string::npos);
    EXPECT_NE(skipped.err.find("row 3: "), std::string::npos);  // impossible evidence
    EXPECT_NE(skipped.err.find("row 4: 3 cells where the header has 2"), std::string::npos);

    const auto failed = runSamplenet({"batch", dataFile("smoker.bif"), cases, "--on-error", "fail"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(split(failed.out).size(), 2u) << "the header and row 1, streamed before row 2 failed";
    EXPECT_NE(failed.err.find("row 2: unknown state"), std::string::npos) << failed.err;

    const std::string impossible = scratchFile("impossible.csv", "Smoker,Lungs\nno,damaged\n");
    const auto inferenceFailed =
        runSamplenet({"batch", dataFile("smoker.bif"), impossible, "-a", "exact", "--on-error", "fail"});
    EXPECT_EQ(inferenceFailed.exitCode, 2);
    EXPECT_NE(inferenceFailed.err.find("impossible.csv: row 1: "), std::string::npos) << inferenceFailed.err;
}

// --standard-errors adds a column per posterior between the posteriors and
// the summary, each the one infer gives with the case's seed; auto leaves
// them empty for a case it answers exactly.
TEST(BatchCommand, StandardErrorsOnRequestAreInfersForEachCase) {
    const std::string cases = scratchFile("error_cases.csv", "Cough,Lungs\nyes,\n,healthy\n");
    const auto rows = split(runSamplenetOut(
        {"batch", dataFile("smoker.bif"), cases, "-n", "2000", "--seed", "4", "-q", "Smoker", "--standard-errors"}));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], "row,Smoker=yes,Smoker=no,standard_error:Smoker=yes,standard_error:Smoker=no,"
                       "ln_probability_of_evidence,probability_of_evidence_relative_error,effective_sample_size,"
                       "error_bound,reliable");
    const std::string expected = rowOfInfer("2", {"infer", dataFile("smoker.bif"), "-a", "epis", "-e", "Lungs=healthy",
                                                  "-n", "2000", "--seed", std::to_string(samplenet::caseSeed(4, 1)),
                                                  "-q", "Smoker"},
                                            true);
    EXPECT_EQ(rows[2].substr(0, expected.size()), expected);

    const auto answered = split(runSamplenetOut(
        {"batch", dataFile("smoker.bif"), cases, "-a", "auto", "-q", "Smoker", "--standard-errors"}));
    ASSERT_EQ(answered.size(), 3u);
    const std::vector<std::string> cells = split(answered[1], ',');
    ASSERT_GE(cells.size(), 6u) << answered[1];
    EXPECT_NEAR(std::stod(cells[1]), 24.0 / 31.0, 1e-12) << "answered exactly";
    EXPECT_EQ(cells[3] + cells[4], "") << answered[1];
}

TEST(BatchCommand, BadCaseFilesAndOptionsSayWhatWasExpected) {
    const struct {
        std::string text;
        std::vector<std::string> extra;
        std::string message;
    } cases[] = {
        {"Smoker,Nose\nyes,\n", {}, "bad_file.csv:1: unknown node \"Nose\" in the header"},
        {"Smoker,Smoker\nyes,no\n", {}, "column \"Smoker\" appears twice"},
        {"", {}, "expected a header line of node names"},
        {"Smoker\n\"yes\n", {}, "not valid CSV"},
        {"Smoker\nyes\n", {"--on-error", "ignore"}, "use skip or fail"},
        {"Smoker\nyes\n", {"-j", "0"}, "--jobs"},
        {"Smoker\nyes\n", {"-q", "Nose"}, "unknown node \"Nose\" in --query"},
        {"Smoker\nyes\n", {"--standard-errors", "-a", "exact"}, "--standard-errors: exact gives no standard errors"},
        {"Smoker\nyes\n", {"--standard-errors", "-a", "lbp"}, "--standard-errors: lbp gives no standard errors"},
    };
    // A CSV error may come after the header was printed.
    for (const auto& bad : cases) {
        const std::string file = scratchFile("bad_file.csv", bad.text);
        const auto run = runSamplenet(cli_testing::with({"batch", dataFile("smoker.bif"), file}, bad.extra));
        EXPECT_EQ(run.exitCode, 1) << bad.message;
        EXPECT_NE(run.err.find(bad.message), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    }
    expectRefusal(runSamplenet({"batch", dataFile("smoker.bif"), "no_such_cases.csv"}),
                  "no_such_cases.csv: cannot open the case file");
}

}  // namespace
