#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "lib/inference/inference.h"
#include "lib/plot/graphviz_render.h"
#include "lib/plot/picture_selection.h"
#include "lib/plot/posterior_picture.h"
#include "tests/plot/svg_picture.h"
#include "tests/support/test_networks.h"
#include "tests/support/sampling_options.h"
#include "tests/support/tiny_network.h"
#include "tests/support/error_message.h"

namespace {

using plot_testing::DrawnNode;
using plot_testing::hasClass;
using plot_testing::readSvgPicture;

const plot_testing::BarColours kBarColours{{"#4f81bd", "#c0504d", "#d4a017"}, {"#a7c0de", "#e0a8a6", "#e9d08b"}};

// Names with characters that DOT, HTML labels and SVG must all escape, and a
// state ("Rare" yes) whose posterior is below what three decimals show.
samplenet::Network smokerNetwork() {
    samplenet::Network network;
    network.variables = {
        {"Smoker & co", {"yes", "no <sure>"}, {}, {0.3, 0.7}, {}},
        {"Cough", {"yes", "no"}, {0}, {0.8, 0.2, 0.1, 0.9}, {}},
        {"Lungs \"L\"", {"damaged", "healthy"}, {0}, {0.4, 0.6, 0.0, 1.0}, {}},
        {"X-ray", {"shadow", "clear"}, {2}, {0.9, 0.1, 0.2, 0.8}, {}},
        {"Rare", {"yes", "no"}, {0}, {0.0001, 0.9999, 0.0002, 0.9998}, {}},
    };
    network.reindex();
    return network;
}

struct Drawing {
    samplenet::Network network = smokerNetwork();
    samplenet::Evidence evidence;
    samplenet::InferenceResult result;

    explicit Drawing(samplenet::Algorithm algorithm = samplenet::Algorithm::Exact) {
        evidence.hard[1] = 0;                       // Cough = yes
        evidence.likelihood[3] = {0.9, 0.2};        // X-ray
        result = samplenet::infer(network, evidence, testing_support::samplingOptions(algorithm, 2000, 7));
    }

    std::map<std::string, DrawnNode> draw(const samplenet::PictureSelection& nodes) const {
        const samplenet::PosteriorPicture picture{network, evidence, result, nodes, "caption & more"};
        return readSvgPicture(samplenet::renderDot(samplenet::posteriorDot(picture), samplenet::PictureFormat::Svg),
                              kBarColours);
    }
};

bool hasText(const DrawnNode& node, const std::string& text) {
    return std::find(node.texts.begin(), node.texts.end(), text) != node.texts.end();
}

// Exact posteriors have no interval; sampled ones show theirs on the bar and
// after the number.
TEST(PosteriorPicture, EveryStateIsDrawnWithABarNumberAndIntervalThatMatchItsPosterior) {
    const auto points = [](double p) { return std::round(100.0 * std::clamp(p, 0.0, 1.0)); };
    for (const auto algorithm : {samplenet::Algorithm::Exact, samplenet::Algorithm::Epis}) {
        const Drawing drawing(algorithm);
        const bool sampled = algorithm == samplenet::Algorithm::Epis;
        ASSERT_EQ(drawing.result.standardErrors.empty(), !sampled);
        const auto drawn = drawing.draw(samplenet::selectPictureNodes(drawing.network, {}));
        ASSERT_EQ(drawn.size(), 5u);
        int shaded = 0;
        for (int v = 0; v < drawing.network.size(); ++v) {
            const auto& variable = drawing.network.variables[v];
            ASSERT_TRUE(drawn.count(variable.name)) << variable.name;
            ASSERT_EQ(drawn.at(variable.name).states.size(), variable.states.size()) << variable.name;
            for (int s = 0; s < variable.stateCount(); ++s) {
                const double p = drawing.result.posteriors[v][s];
                const double half = sampled ? 1.96 * drawing.result.standardErrors[v][s] : 0.0;
                const auto& row = drawn.at(variable.name).states.at(variable.states[s]);
                SCOPED_TRACE(variable.name + " " + variable.states[s]);
                EXPECT_DOUBLE_EQ(row.length, 100.0);
                EXPECT_NEAR(row.filled, points(p), 1e-9);
                EXPECT_EQ(row.number, samplenet::pictureProbabilityText(p));
                EXPECT_NEAR(row.interval, points(p + half) - points(p - half), 1e-9);
                EXPECT_EQ(row.intervalText, half > 0 ? samplenet::pictureIntervalText(half) : "");
                if (row.interval > 0) ++shaded;
            }
        }
        // 2,000 samples leave intervals of a few hundredths on the unobserved nodes.
        if (sampled) {
            EXPECT_GE(shaded, 4);
        } else {
            EXPECT_EQ(shaded, 0);
            EXPECT_EQ(drawn.at("Rare").states.at("yes").number, "<0.001");
        }
        EXPECT_EQ(drawn.at("Cough").states.at("yes").intervalText, "") << "an observed state has no interval";
    }
    EXPECT_EQ(samplenet::pictureIntervalText(0.0123), "\u00b10.012");
    EXPECT_EQ(samplenet::pictureIntervalText(0.0001), "\u00b1<0.001");
}

TEST(PosteriorPicture, EvidenceIsMarked) {
    const Drawing drawing;
    const auto drawn = drawing.draw(samplenet::selectPictureNodes(drawing.network, {}));
    EXPECT_TRUE(hasClass(drawn.at("Cough"), "observed"));
    EXPECT_TRUE(hasText(drawn.at("Cough"), " = yes"));
    EXPECT_EQ(drawn.at("Cough").states.at("yes").filled, 100.0);
    EXPECT_TRUE(hasClass(drawn.at("X-ray"), "likelihood"));
    EXPECT_TRUE(hasText(drawn.at("X-ray"), "likelihood [0.9, 0.2]"));
    for (const char* unobserved : {"Smoker & co", "Lungs \"L\"", "Rare"}) {
        EXPECT_FALSE(hasClass(drawn.at(unobserved), "observed")) << unobserved;
        EXPECT_FALSE(hasClass(drawn.at(unobserved), "likelihood")) << unobserved;
    }
}

TEST(PosteriorPicture, QueriedNodesAreDrawnWithTheirNeighboursByName) {
    const Drawing drawing;
    const auto drawn = drawing.draw(samplenet::selectPictureNodes(drawing.network, {2}));  // Lungs
    ASSERT_EQ(drawn.size(), 3u);
    EXPECT_EQ(drawn.at("Lungs \"L\"").states.size(), 2u);
    for (const char* neighbour : {"Smoker & co", "X-ray"}) {
        EXPECT_TRUE(hasClass(drawn.at(neighbour), "context")) << neighbour;
        EXPECT_TRUE(drawn.at(neighbour).states.empty()) << neighbour;
    }
    EXPECT_TRUE(hasClass(drawn.at("X-ray"), "likelihood"));

    const auto aroundSmoker = drawing.draw(samplenet::selectPictureNodes(drawing.network, {0}));
    EXPECT_TRUE(hasClass(aroundSmoker.at("Cough"), "observed"));
    EXPECT_TRUE(hasText(aroundSmoker.at("Cough"), "Cough = yes"));
}

TEST(PictureSelection, LargeNetworksNeedAQueryAndQueriesBringTheirNeighbours) {
    const samplenet::Network small = testing_support::toNetwork(testing_support::chain(samplenet::kMaxPictureNodes));
    const auto whole = samplenet::selectPictureNodes(small, {});
    EXPECT_EQ(whole.detailed.size(), static_cast<std::size_t>(samplenet::kMaxPictureNodes));
    EXPECT_TRUE(whole.context.empty());

    const samplenet::Network large =
        testing_support::toNetwork(testing_support::chain(samplenet::kMaxPictureNodes + 1));
    const std::string refusal = testing_support::messageOf<std::invalid_argument>([&] { samplenet::selectPictureNodes(large, {}); });
    EXPECT_NE(refusal.find("-q"), std::string::npos) << refusal;
    const auto queried = samplenet::selectPictureNodes(large, {30, 5, 6});
    EXPECT_EQ(queried.detailed, (std::vector<int>{5, 6, 30}));
    EXPECT_EQ(queried.context, (std::vector<int>{4, 7, 29, 31}));
}

TEST(GraphvizRender, WritesEachFormatAndSaysWhenDotIsMissing) {
    const std::string dot = "digraph { a -> b }";
    EXPECT_EQ(samplenet::renderDot(dot, samplenet::PictureFormat::Png).substr(0, 4), "\x89PNG");
    EXPECT_EQ(samplenet::renderDot(dot, samplenet::PictureFormat::Pdf).substr(0, 4), "%PDF");
    EXPECT_THROW(samplenet::renderDot("digraph { a -> }", samplenet::PictureFormat::Svg), std::runtime_error);

    setenv("PATH", "/nonexistent", 1);
    const std::string refusal =
        testing_support::messageOf<std::runtime_error>([&] { samplenet::renderDot(dot, samplenet::PictureFormat::Svg); });
    EXPECT_NE(refusal.find("Graphviz"), std::string::npos) << refusal;
}

}  // namespace
