#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::runSamplenet;
using cli_testing::runSamplenetJson;
using nlohmann::json;

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";

TEST(Interventions, EveryOutputOfInferNamesThemAndTheirCausesStayPut) {
    const json posteriors = runSamplenetJson({"infer", kAsia, "--do", "lung=yes", "-a", "exact", "--format", "json"});
    EXPECT_EQ(posteriors["interventions"], json({{"lung", "yes"}}));
    for (const json& posterior : posteriors["posteriors"])
        if (posterior["node"] == "smoke") {
            EXPECT_EQ(posterior["probabilities"], json({0.5, 0.5}));
        }
    const auto table = runSamplenet({"infer", kAsia, "--do", "lung=yes", "-e", "dysp=yes", "-a", "exact"});
    EXPECT_NE(table.out.find("# evidence: dysp=yes\n# interventions: lung=yes\n"), std::string::npos) << table.out;
    const json explanation = runSamplenetJson({"infer", kAsia, "--do", "lung=no", "--mpe", "--format", "json"});
    EXPECT_EQ(explanation["interventions"], json({{"lung", "no"}}));
    EXPECT_EQ(explanation["explanation"]["lung"], "no");
    const json impact = runSamplenetJson({"impact", kAsia, "-t", "either", "--do", "lung=no", "--format", "json"});
    EXPECT_EQ(impact["interventions"], json({{"lung", "no"}}));
    for (const json& candidate : impact["candidates"]) EXPECT_NE(candidate["node"], "lung");

    const auto samples = runSamplenet({"sample", kAsia, "-n", "200", "--seed", "1", "--do", "tub=yes"});
    ASSERT_EQ(samples.exitCode, 0) << samples.err;
    std::istringstream rows(samples.out);
    std::string row;
    std::getline(rows, row);
    ASSERT_EQ(row.substr(0, 9), "asia,tub,");
    int count = 0;
    for (; std::getline(rows, row); ++count) EXPECT_EQ(row.substr(row.find(',') + 1, 4), "yes,") << row;
    EXPECT_EQ(count, 200);
}

TEST(Interventions, BadInterventionsAndImpactQuestionsFailWithOneClearLine) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"infer", kAsia, "--do", "lung=yes", "-e", "lung=no"},
         "\"lung\" is both observed and set by an intervention"},
        {{"infer", kAsia, "--do", "lungs=yes"}, "unknown node \"lungs\" in an intervention"},
        {{"impact", kAsia, "-t", "lung", "--do", "lung=yes"}, "the target \"lung\" is set by an intervention"},
        {{"impact", kAsia, "-t", "lung", "-e", "lung=yes"}, "the target \"lung\" is observed"},
        {{"impact", kAsia, "-t", "cancer"}, "unknown node \"cancer\" in --target"},
        {{"impact", kAsia}, "--target is required"},
    };
    for (const auto& [arguments, message] : cases) {
        const auto run = runSamplenet(arguments);
        EXPECT_EQ(run.exitCode, 1) << arguments[0];
        EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
        EXPECT_TRUE(run.out.empty());
    }
}

TEST(Interventions, BatchAppliesThemToEveryCaseAndRefusesAColumnTheySet) {
    const testing_support::ScratchFolder directory;
    const std::string cases = directory.file("cases.csv");
    std::ofstream(cases) << "dysp\nyes\nno\n";
    const auto batch = runSamplenet({"batch", kAsia, cases, "-q", "smoke", "--do", "lung=yes", "-a", "exact", "-j", "1"});
    ASSERT_EQ(batch.exitCode, 0) << batch.err;
    const json infer =
        runSamplenetJson({"infer", kAsia, "-q", "smoke", "--do", "lung=yes", "-e", "dysp=no", "-a", "exact", "--format", "json"});
    const std::string lastRow = batch.out.substr(batch.out.rfind("\n2,") + 1);
    EXPECT_EQ(lastRow.substr(0, lastRow.find(',', 2)),
              "2," + nlohmann::json(infer["posteriors"][0]["probabilities"][0]).dump());
    const auto refused = runSamplenet({"batch", kAsia, cases, "--do", "dysp=yes"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("cases.csv:1: column \"dysp\" is set by --do"), std::string::npos) << refused.err;
}

}  // namespace
