#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/cli/run_samplenet.h"

namespace {

using cli_testing::dataFile;
using cli_testing::runSamplenet;

const std::string kAsia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";

TEST(InfoNode, PrintsNeighbourhoodAndTableOneRowPerParentConfiguration) {
    EXPECT_EQ(cli_testing::runSamplenetOut({"info", kAsia, "--node", "either", "--node", "smoke"}),
              "node: either\n"
              "states: yes, no\n"
              "parents: lung, tub\n"
              "children: xray, dysp\n"
              "markov blanket: tub, lung, bronc, xray, dysp\n"
              "table: P(either | lung, tub)\n"
              "lung  tub  yes  no\n"
              "yes   yes  1    0\n"
              "yes   no   1    0\n"
              "no    yes  1    0\n"
              "no    no   0    1\n"
              "\n"
              "node: smoke\n"
              "states: yes, no\n"
              "parents: (none)\n"
              "children: lung, bronc\n"
              "markov blanket: lung, bronc\n"
              "table: P(smoke)\n"
              "yes  no\n"
              "0.5  0.5\n");
    // Numbers print as the shortest text that reads back as the same double.
    const auto cough = runSamplenet({"info", dataFile("smoker.bif"), "--node", "Cough"});
    EXPECT_TRUE(cough.out.ends_with("Smoker  yes  no\nyes     0.8  0.2\nno      0.1  0.9\n")) << cough.out;
}

// The collider at either is closed again by observing lung; sets are comma
// lists or repeated options; the answer is a success either way.
TEST(Dsep, AnswersYesOrNoAndJson) {
    const auto ask = [](const std::vector<std::string>& arguments) {
        return cli_testing::runSamplenetOut(cli_testing::with({"dsep", kAsia}, arguments));
    };
    EXPECT_EQ(ask({"tub", "smoke", "-g", "either", "-g", "lung"}), "yes\n");
    EXPECT_EQ(ask({"tub", "smoke", "--given", "either,lung"}), "yes\n");
    EXPECT_EQ(ask({"asia,tub", "smoke,bronc", "--given", "xray"}), "no\n");
    const auto reply = nlohmann::json::parse(ask({"asia,tub", "bronc", "--given", "smoke", "--format", "json"}));
    EXPECT_EQ(reply.at("a"), nlohmann::json({"asia", "tub"}));
    EXPECT_EQ(reply.at("b"), nlohmann::json({"bronc"}));
    EXPECT_EQ(reply.at("given"), nlohmann::json({"smoke"}));
    EXPECT_TRUE(reply.at("d_separated").get<bool>());
}

}  // namespace
