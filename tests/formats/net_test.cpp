#include <gtest/gtest.h>

#include "lib/formats/net.h"
#include "tests/formats/format_test_support.h"

namespace samplenet {
namespace {

using testing_formats::expectErrors;
using testing_formats::expectSameNetwork;

const char* const kSprinkler = R"(% a network with two parents
net
{
    node_size = (80 40);
    name = "lawn";
}

node Rain
{
    label = "Rain; or not";
    states = ("yes" "no");
}

discrete node Sprinkler
{
    states = ("on" "off");
}

node Wet
{
    states = ("wet" "damp" "dry");   % three states
    position = (100 200);
}

potential (Rain) { data = (0.2 0.8); }
potential (Sprinkler) { data = ( 0.4 0.6 ); }
potential (Wet | Rain Sprinkler)
{
    data = (((0.9 0.09 0.01)    % Rain = yes, Sprinkler = on
             (0.8 0.15 0.05))
            ((0.7 0.2 0.1)
             (0 0 1)));
    experience = ((1 1) (1 1));
}
)";

TEST(NetReader, ReadsNodesAttributesAndNestedData) {
    const Network network = readNet(kSprinkler, "lawn.net");
    EXPECT_EQ(network.name, "lawn");
    EXPECT_EQ(network.properties, (std::vector<std::string>{"node_size = (80 40)"}));
    ASSERT_EQ(network.size(), 3);
    EXPECT_EQ(network.variables[0].properties, (std::vector<std::string>{"label = \"Rain; or not\""}));
    EXPECT_EQ(network.variables[1].name, "Sprinkler");
    const Variable& wet = network.variables[2];
    EXPECT_EQ(wet.states, (std::vector<std::string>{"wet", "damp", "dry"}));
    EXPECT_EQ(wet.properties, (std::vector<std::string>{"position = (100 200)"}));
    EXPECT_EQ(wet.parents, (std::vector<int>{0, 1}));
    EXPECT_EQ(wet.table, (std::vector<double>{0.9, 0.09, 0.01, 0.8, 0.15, 0.05, 0.7, 0.2, 0.1, 0, 0, 1}));
}

TEST(NetWriter, NestsDataByParentAndReadsBackIdentically) {
    const Network network = readNet(kSprinkler, "lawn.net");
    const std::string text = writeNet(network);
    EXPECT_NE(text.find("potential (Wet | Rain Sprinkler)\n{\n    data = ((( 0.9 0.09 0.01 )( 0.8 0.15 0.05 ))"
                        "(( 0.7 0.2 0.1 )( 0 0 1 )));"),
              std::string::npos)
        << text;
    expectSameNetwork(network, readNet(text, "again.net"));

    // Properties that are not "key = value" cannot be written as attributes.
    Network withBifProperty = network;
    withBifProperty.variables[0].properties.push_back("free text");
    expectSameNetwork(network, readNet(writeNet(withBifProperty), "dropped.net"));
}

TEST(NetReader, ReportsFileLineAndWhatWasExpected) {
    const std::string head = "net {}\nnode A { states = (\"a\" \"b\"); }\n";
    expectErrors({
        {"class x {}", "bad.net:1: expected 'net', found 'class'"},
        {head + "utility U { }", "bad.net:3: expected 'node', 'discrete node' or 'potential', found 'utility'"},
        {head + "continuous node C { }", "bad.net:3: expected 'node', 'discrete node' or 'potential', found 'continuous'"},
        {head + "node B { states = (a b); }", "bad.net:3: expected quoted state name or ')', found 'a'"},
        {head + "node B {\n label = \"x\"; }", "bad.net:4: expected 'states' of node 'B', found '}'"},
        {head + "node A { states = (\"x\"); }", "bad.net:3: expected a new variable name, found duplicate 'A'"},
        {head + "potential (B) { data = (1); }", "bad.net:3: expected a declared variable, found unknown 'B'"},
        {head + "potential (A | B) { data = (1); }", "bad.net:3: expected a declared variable, found unknown 'B'"},
        {head + "potential (A) {\n data = (0.5 0.25 0.25); }", "bad.net:4: expected 2 numbers in 'data', found 3"},
        {head + "potential (A) { data = (0.5 half); }", "bad.net:3: expected probability, found 'half'"},
        {head + "potential (A) { data = (1.5 -0.5); }", "bad.net:3: expected non-negative probability, found '-0.5'"},
        {head + "potential (A) { data = (0.5 0.5)); }", "bad.net:3: expected probability, found ')'"},
        {head + "potential (A) {\n}", "bad.net:4: expected 'data' for node 'A', found '}'"},
        {head + "potential (A) { data = (0.5 0.5); }\npotential (A) { data = (0.5 0.5); }",
         "bad.net:4: expected one table per variable, found a second one for 'A'"},
        {head, "bad.net:3: expected a table for variable 'A', found none"},
        {head + "potential (A) { data = (0.5 0.4); }", "bad.net: variable \"A\": probabilities sum to 0.9, expected 1"},
    }, [&](const std::string& text) { readNet(text, "bad.net"); });
}

}  // namespace
}  // namespace samplenet
