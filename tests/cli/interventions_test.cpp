#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/cli/run_samplenet.h"

namespace {

using cli_testing::runSamplenet;
using cli_testing::runSamplenetJson;
using cli_testing::runSamplenetOut;
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

    const auto rows =
        cli_testing::split(runSamplenetOut({"sample", kAsia, "-n", "200", "--seed", "1", "--do", "tub=yes"}));
    ASSERT_EQ(rows.size(), 1u + 200u);
    ASSERT_EQ(rows[0].substr(0, 9), "asia,tub,");
    for (std::size_t r = 1; r < rows.size(); ++r) {
        EXPECT_EQ(rows[r].substr(rows[r].find(',') + 1, 4), "yes,") << rows[r];
    }
}

TEST(Interventions, BatchAppliesThemToEveryCaseAndRefusesAColumnTheySet) {
    const std::string cases = cli_testing::scratchFile("cases.csv", "dysp\nyes\nno\n");
    const std::string batch =
        runSamplenetOut({"batch", kAsia, cases, "-q", "smoke", "--do", "lung=yes", "-a", "exact", "-j", "1"});
    const json infer =
        runSamplenetJson({"infer", kAsia, "-q", "smoke", "--do", "lung=yes", "-e", "dysp=no", "-a", "exact", "--format", "json"});
    const std::string lastRow = batch.substr(batch.rfind("\n2,") + 1);
    EXPECT_EQ(lastRow.substr(0, lastRow.find(',', 2)),
              "2," + nlohmann::json(infer["posteriors"][0]["probabilities"][0]).dump());
    cli_testing::expectRefusal(runSamplenet({"batch", kAsia, cases, "--do", "dysp=yes"}),
                               "cases.csv:1: column \"dysp\" is set by --do");
}

}  // namespace
