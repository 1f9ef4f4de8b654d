#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::dataFile;
using cli_testing::fileContents;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetOut;
using testing_support::scratchPath;

int count(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    return static_cast<int>(std::distance(std::sregex_iterator(text.begin(), text.end(), expression),
                                          std::sregex_iterator()));
}

TEST(PlotCommand, DrawsEveryNodeInTheFormatTheFileNameAsks) {
    const std::string svg = scratchPath("smoker.svg");
    EXPECT_EQ(runSamplenetOut({"plot", dataFile("smoker.bif"), "-e", "Cough=yes", "-a", "exact", "-o", svg}), "");
    const std::string picture = fileContents(svg);
    // The library's tests check the drawing; here the evidence reaches it.
    // P(Smoker = yes | Cough = yes) = 24/31.
    EXPECT_NE(picture.find(">0.774<"), std::string::npos);
    EXPECT_EQ(count(picture, "class=\"node observed\""), 1);

    const std::string png = scratchPath("smoker.png");
    EXPECT_EQ(runSamplenetOut({"plot", dataFile("smoker.bif"), "-a", "lbp", "-o", png}), "");
    EXPECT_EQ(fileContents(png).substr(0, 4), "\x89PNG");
}

TEST(PlotCommand, RefusesWhatItCannotDrawWithAMessage) {
    const std::string svg = scratchPath("refused.svg");
    struct Case {
        std::vector<std::string> arguments;
        std::string environment;
        std::string message;
    };
    const std::vector<Case> cases{
        {{"plot", dataFile("smoker.bif"), "-o", scratchPath("smoker.gif")}, "", ".svg, .png or .pdf"},
        {{"plot", dataFile("smoker.bif"), "-q", "Liver", "-o", svg}, "", "unknown node \"Liver\""},
        {{"plot", std::string(SAMPLENET_TEST_DATA) + "/networks/hepar2.bif.gz", "-o", svg}, "",
         "70 nodes, too many for a readable picture"},
        {{"plot", dataFile("smoker.bif"), "-o", svg}, "PATH=/nonexistent", "Graphviz's dot program"},
    };
    for (const Case& refused : cases) {
        cli_testing::expectRefusal(runSamplenet(refused.arguments, "", refused.environment), refused.message);
        EXPECT_FALSE(std::filesystem::exists(svg)) << refused.message;
    }
}

TEST(PlotCommand, LargeNetworksAreDrawnAroundTheQueriedNodes) {
    const std::string svg = scratchPath("hepar2.svg");
    EXPECT_EQ(runSamplenetOut({"plot", std::string(SAMPLENET_TEST_DATA) + "/networks/hepar2.bif.gz", "-q", "Cirrhosis",
                               "-n", "2000", "--seed", "1", "-o", svg}),
              "");
    const std::string picture = fileContents(svg);
    EXPECT_EQ(count(picture, "class=\"node\""), 1);
    EXPECT_GE(count(picture, "class=\"node context\""), 2);
}

}  // namespace
