#include <gtest/gtest.h>

#include "lib/formats/uai.h"
#include "tests/formats/format_test_support.h"

namespace samplenet {
namespace {

using testing_formats::expectErrors;

// v2 has parents v1 then v0; the functions are not in variable order.
const char* const kThreeVariables = R"(BAYES
3
2 2 3
3
3 1 0 2
1 0
2 0 1

12
 0.1 0.2 0.7
 0.3 0.3 0.4
 0.5 0.25 0.25
 1 0 0

2
 0.4 0.6

4 0.9 0.1 0.2 0.8
)";

TEST(UaiReader, TakesTheLastScopeVariableAsTheChild) {
    const Network network = readUai(kThreeVariables, "three.uai");
    ASSERT_EQ(network.size(), 3);
    EXPECT_EQ(network.variables[2].name, "v2");
    EXPECT_EQ(network.variables[2].states, (std::vector<std::string>{"s0", "s1", "s2"}));
    EXPECT_EQ(network.variables[2].parents, (std::vector<int>{1, 0}));
    EXPECT_EQ(network.variables[2].table,
              (std::vector<double>{0.1, 0.2, 0.7, 0.3, 0.3, 0.4, 0.5, 0.25, 0.25, 1, 0, 0}));
    EXPECT_EQ(network.variables[1].parents, (std::vector<int>{0}));
    EXPECT_EQ(network.variables[1].table, (std::vector<double>{0.9, 0.1, 0.2, 0.8}));
}

TEST(UaiWriter, WritesOneFunctionPerVariableInOrder) {
    const Network network = readUai(kThreeVariables, "three.uai");
    const std::string text = writeUai(network);
    EXPECT_EQ(text.substr(0, text.find("\n\n")), "BAYES\n3\n2 2 3\n3\n1 0\n2 0 1\n3 1 0 2");
}

TEST(UaiReader, ReportsFileLineAndWhatWasExpected) {
    expectErrors({
        {"MARKOV\n1\n2\n1\n1 0\n2 0.5 0.5", "bad.uai:1: expected 'BAYES', found 'MARKOV'"},
        {"BAYES\nmany", "bad.uai:2: expected variable count, found 'many'"},
        {"BAYES\n1\n-2", "bad.uai:3: expected state count, found '-2'"},
        {"BAYES\n2\n2 2\n1\n", "bad.uai:4: expected 2 functions, one per variable, found '1'"},
        {"BAYES\n1\n2\n1\n0\n", "bad.uai:5: expected scope size of at least 1, found '0'"},
        {"BAYES\n2\n2 2\n2\n1 0\n2 0 2\n", "bad.uai:6: expected variable index below 2, found '2'"},
        {"BAYES\n1\n2\n1\n2 0 0\n", "bad.uai:5: expected scope size, found '2'"},
        {"BAYES\n2\n2 2\n2\n1 0\n1 0\n2 0.5 0.5\n2 0.5 0.5",
         "bad.uai:6: expected one table per variable, found a second one for 'v0'"},
        {"BAYES\n1\n2\n1\n1 0\n\n3 0.2 0.3 0.5", "bad.uai:7: expected 2 as table size, found '3'"},
        {"BAYES\n1\n2\n1\n1 0\n\n2 0.5 x", "bad.uai:7: expected probability, found 'x'"},
        {"BAYES\n1\n2\n1\n1 0\n\n2\n-0.5 1.5", "bad.uai:8: expected non-negative probability, found '-0.5'"},
        {"BAYES\n1\n2\n1\n1 0\n\n2\n0.5", "bad.uai:8: expected probability, found end of file"},
        {"BAYES\n1\n2\n1\n1 0\n\n2\n0.5 0.5 0.5", "bad.uai:8: expected end of file, found '0.5'"},
        {"BAYES\n2\n2 2\n2\n2 1 0\n2 0 1\n4 0.5 0.5 0.5 0.5\n4 0.5 0.5 0.5 0.5", "bad.uai: cycle: v0 -> v1 -> v0"},
    }, [&](const std::string& text) { readUai(text, "bad.uai"); });
}

TEST(UaiEvidence, ReadsTheOldFormAndTheFormWithASampleCount) {
    const Network network = readUai(kThreeVariables, "three.uai");
    const std::map<int, int> expected = {{0, 1}, {2, 2}};
    EXPECT_EQ(readUaiEvidence(network, "2 0 1 2 2", "old.evid").hard, expected);
    EXPECT_EQ(readUaiEvidence(network, "1\n2 0 1 2 2\n", "new.evid").hard, expected);
    EXPECT_EQ(readUaiEvidence(network, "1 0 1", "one.evid").hard, (std::map<int, int>{{0, 1}}));
    EXPECT_TRUE(readUaiEvidence(network, "0", "none.evid").empty());
    EXPECT_TRUE(readUaiEvidence(network, "1 0", "none.evid").empty());
}

TEST(UaiEvidence, ReportsUnknownVariablesStatesAndMalformedFiles) {
    const Network network = readUai(kThreeVariables, "three.uai");
    expectErrors({
        {"", "bad.evid:1: expected sample count, found end of file"},
        {"2 1 0 1", "bad.evid:1: expected 1 as sample count, found '2'"},
        {"1 x 1", "bad.evid:1: expected variable index, found 'x'"},
        {"1\n3 1", "bad.evid:2: expected a variable index below 3, found '3'"},
        {"1\n0 2", "bad.evid:2: expected a state index of v0 below 2, found '2'"},
        {"2 0 1 0 0", "bad.evid:1: expected each variable once, found variable 0 again"},
        {"1\n3 0 1", "bad.evid:2: expected variable index, found end of file"},
        {"2 0 1 0", "bad.evid:1: expected 1 as sample count, found '2'"},
        {"1 1 0 1 2 0", "bad.evid:1: expected end of file after 1 variable/state pairs, found '2'"},
    }, [&](const std::string& text) { readUaiEvidence(network, text, "bad.evid"); });
}

}  // namespace
}  // namespace samplenet
