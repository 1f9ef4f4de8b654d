#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include "lib/model/errors.h"
#include "lib/model/evidence_check.h"
#include "lib/model/network.h"
#include "tests/support/error_message.h"
#include "tests/support/tiny_network.h"

namespace samplenet {
namespace {

// A(yes, no) and B(yes, no, maybe) are roots; X(on, off) has parents A, B.
Network smallNetwork() {
    Network network;
    network.variables = {
        {"A", {"yes", "no"}, {}, {0.3, 0.7}, {}},
        {"B", {"yes", "no", "maybe"}, {}, {0.2, 0.3, 0.5}, {}},
        {"X", {"on", "off"}, {0, 1}, {0.1, 0.9, 0.2, 0.8, 0.3, 0.7, 0.4, 0.6, 0.5, 0.5, 0.6, 0.4}, {}},
    };
    network.reindex();
    return network;
}

std::string validationMessage(Network network) {
    return testing_support::messageOf<ModelError>([&] { validate(network); });
}

TEST(Validate, RenormalisesColumnsWithinToleranceOnly) {
    Network network = smallNetwork();
    network.variables[2].table[2] = 0.2 + 4e-7;  // column (A=yes, B=no) sums to 1 + 4e-7
    validate(network);
    const auto& table = network.variables[2].table;
    EXPECT_NEAR(table[2] + table[3], 1.0, 1e-15);
    EXPECT_DOUBLE_EQ(table[3], 0.8 / (1.0 + 4e-7));
    EXPECT_EQ(table[0], 0.1);  // other columns untouched

    // Validating again (a well-formed network) changes nothing, so written
    // and re-read tables stay identical.
    const auto once = table;
    validate(network);
    EXPECT_EQ(network.variables[2].table, once);
}

// What lets inference skip its own copy: true only when validate would
// change nothing, so false for a column it would renormalise, even by less
// than its tolerance; the networks it refuses are checked below.
TEST(Validate, ValidAsIsOnlyWhenValidateWouldChangeNothing) {
    EXPECT_TRUE(isValidAsIs(smallNetwork()));
    for (double excess : {4e-7, 1e-11}) {
        Network network = smallNetwork();
        network.variables[2].table[2] = 0.2 + excess;
        EXPECT_FALSE(isValidAsIs(network)) << excess;
    }
}

TEST(Validate, RejectsMalformedNetworksWithAMessageNamingTheFaultAndTheColumn) {
    struct Case {
        const char* what;
        std::function<void(Network&)> breakIt;
        const char* message;
    };
    const Case cases[] = {
        {"duplicate name", [](Network& n) { n.variables[1].name = "A"; }, "duplicate variable name \"A\""},
        {"no states", [](Network& n) { n.variables[0].states.clear(); }, "variable \"A\": has no states"},
        {"duplicate state", [](Network& n) { n.variables[1].states[2] = "yes"; }, "variable \"B\": duplicate state \"yes\""},
        {"parent out of range", [](Network& n) { n.variables[2].parents[1] = 3; }, "variable \"X\": parent index 3 out of range"},
        {"negative parent", [](Network& n) { n.variables[2].parents[0] = -1; }, "variable \"X\": parent index -1 out of range"},
        {"parent twice", [](Network& n) { n.variables[2].parents = {0, 0}; }, "variable \"X\": parent \"A\" listed twice"},
        {"self loop", [](Network& n) { n.variables[0].parents = {0}; }, "cycle: A -> A"},
        {"short table", [](Network& n) { n.variables[2].table.pop_back(); },
         "variable \"X\": table has 11 entries, expected 12 (6 parent configurations x 2 states)"},
        {"negative entry", [](Network& n) { n.variables[2].table[10] = -0.5; },
         "variable \"X\": probability -0.5 of state \"on\" for (A=no, B=maybe) is negative"},
        {"not finite", [](Network& n) { n.variables[1].table[0] = std::numeric_limits<double>::quiet_NaN(); },
         "variable \"B\": probability nan of state \"yes\" is not finite"},
        {"column off", [](Network& n) { n.variables[2].table[3] = 0.73; },
         "variable \"X\": probabilities for (A=yes, B=no) sum to 0.93, expected 1"},
        {"root off", [](Network& n) { n.variables[0].table = {0.5, 0.6}; },
         "variable \"A\": probabilities sum to 1.1, expected 1"},
        // D is a root; A -> X -> C -> A is a cycle hanging below it.
        {"cycle", [](Network& n) {
             n.variables.push_back({"C", {"t", "f"}, {2}, {0.5, 0.5, 0.5, 0.5}, {}});
             n.variables.push_back({"D", {"t", "f"}, {}, {0.5, 0.5}, {}});
             n.variables[0].parents = {4, 3};
             n.variables[0].table.assign(8, 0.5);
             n.reindex();
         },
         "cycle: A -> X -> C -> A"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Network network = smallNetwork();
        c.breakIt(network);
        EXPECT_EQ(validationMessage(network), c.message);
        // Never valid as is: refused the same way, or false.
        bool validAsIs = false;
        const std::string refusal = testing_support::messageOf<ModelError>([&] { validAsIs = isValidAsIs(network); });
        EXPECT_TRUE(refusal == c.message || refusal == "(no error)") << refusal;
        EXPECT_FALSE(validAsIs);
    }
}

// Parents come before children; of the variables free to come next, the
// first in the file does; variables on a cycle are left out.
TEST(TopologicalOrder, PutsParentsFirstAndOtherwiseKeepsFileOrder) {
    const auto orderOf = [](const std::vector<std::vector<int>>& parents) {
        Network network;
        for (std::size_t v = 0; v < parents.size(); ++v)
            network.variables.push_back({"V" + std::to_string(v), {"a"}, parents[v], {}, {}});
        return network.topologicalOrder();
    };
    EXPECT_EQ(orderOf({{}, {0}, {0, 1}, {}}), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(orderOf({{3}, {}, {0, 1}, {}}), (std::vector<int>{1, 3, 0, 2}));
    EXPECT_EQ(orderOf({{2}, {}, {}, {0}}), (std::vector<int>{1, 2, 0, 3}));
    EXPECT_EQ(orderOf({{1}, {0}, {}, {2}}), (std::vector<int>{2, 3}));
}

// A -> B -> C where B copies A and C copies B; D is a child of A that is
// never in state 1 when A is 0.
Network copyChain() {
    testing_support::TinyNet net;
    net.add(2, {}, {0.5, 0.5});                 // A = V0
    net.add(2, {0}, {1.0, 0.0, 0.0, 1.0});      // B = V1
    net.add(2, {1}, {1.0, 0.0, 0.0, 1.0});      // C = V2
    net.add(2, {0}, {1.0, 0.0, 0.3, 0.7});      // D = V3
    net.add(3, {}, {0.0, 0.5, 0.5});            // E = V4, state 0 never occurs
    return testing_support::toNetwork(net);
}

TEST(ImpossibleEvidence, FindsStatesWithNoProbabilityAndContradictions) {
    const auto network = copyChain();
    // A state with probability 0 in every column.
    EXPECT_EQ(findImpossibleVariable(network, Evidence{{{4, 0}}, {}}), 4);
    // Observations that contradict each other through deterministic tables,
    // also two steps apart and through a likelihood.
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{0, 0}, {1, 1}}, {}}));
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{0, 0}, {2, 1}}, {}}));
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{2, 0}, {3, 1}}, {}}));
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{0, 0}}, {{2, {0.0, 1.0}}}}));
}

TEST(ImpossibleEvidence, AcceptsPossibleEvidence) {
    const auto network = copyChain();
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{}));
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{{{0, 1}, {2, 1}, {3, 1}, {4, 2}}, {}}));
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{{{2, 1}, {3, 1}}, {}}));
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{{{3, 0}}, {{2, {0.0, 1.0}}}}));
}

// Likelihood lengths and all-zero vectors are covered by the parser's tests.
TEST(EvidenceShape, RejectsUnknownIndicesAndBadLikelihoodEntries) {
    const auto network = copyChain();
    EXPECT_NO_THROW(checkEvidenceShape(network, Evidence{{{4, 2}}, {{0, {0.0, 2.5}}}}));
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{{5, 0}}, {}}), EvidenceError);
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{{4, 3}}, {}}), EvidenceError);
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{}, {{0, {-0.5, 1.0}}}}), EvidenceError);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{}, {{0, {nan, 1.0}}}}), EvidenceError);
}

}  // namespace
}  // namespace samplenet
