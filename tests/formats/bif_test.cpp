#include <gtest/gtest.h>

#include "lib/formats/bif.h"
#include "tests/formats/format_test_support.h"

namespace samplenet {
namespace {

using testing_formats::expectErrors;
using testing_formats::expectSameNetwork;

const char* const kDogProblem = R"(// A file in the older dialect: quoted names, no commas, flat tables.
network "Dog Problem" { //inline comment
  property author = "someone; with a semicolon" ;
}
/* a block comment
   over two lines */
variable "family-out" {
  type discrete[2] {"true" "false"};
  property position = (104, 123) ;
}
variable bowel-problem { type discrete [ 2 ] { true, false }; }
variable dog-out { type discrete [ 2 ] { true, false }; }
variable light-on { type discrete [ 2 ] { true, false }; }
probability ( "family-out" ) { table 0.15 0.85 ; }
probability ( bowel-problem ) { //1 variable(s) and 2 values
  table 0.01, 0.99;
}
probability ( dog-out bowel-problem "family-out" ) {
  table 0.99 0.97 0.9 0.3 0.01 0.03 0.1 0.7;
  property note = flat table;
}
probability ( light-on | family-out ) {
  default 0.5, 0.5;
  (true) 0.6, 0.4;
}
)";

TEST(BifReader, ReadsCommentsPropertiesQuotedNamesAndFlatTables) {
    const Network network = readBif(kDogProblem, "dog.bif");
    EXPECT_EQ(network.name, "Dog Problem");
    EXPECT_EQ(network.properties, (std::vector<std::string>{"author = \"someone; with a semicolon\""}));
    ASSERT_EQ(network.size(), 4);
    const Variable& familyOut = network.variables[0];
    EXPECT_EQ(familyOut.name, "family-out");
    EXPECT_EQ(familyOut.states, (std::vector<std::string>{"true", "false"}));
    EXPECT_EQ(familyOut.properties, (std::vector<std::string>{"position = (104, 123)"}));
    EXPECT_EQ(familyOut.table, (std::vector<double>{0.15, 0.85}));

    // In a flat `table` the variable's own state varies slowest.
    const Variable& dogOut = network.variables[2];
    EXPECT_EQ(dogOut.parents, (std::vector<int>{1, 0}));
    EXPECT_EQ(dogOut.table, (std::vector<double>{0.99, 0.01, 0.97, 0.03, 0.9, 0.1, 0.3, 0.7}));
    EXPECT_EQ(dogOut.properties, (std::vector<std::string>{"note = flat table"}));

    // The default row fills the configurations no row names.
    EXPECT_EQ(network.variables[3].table, (std::vector<double>{0.6, 0.4, 0.5, 0.5}));
}

TEST(BifReader, RowsOverrideAFlatTable) {
    const Network network = readBif(R"(
variable a { type discrete [ 2 ] { x, y }; }
variable b { type discrete [ 3 ] { p, q, r }; }
probability ( a ) { table 0.5, 0.5; }
probability ( b | a ) {
  table 0.2, 0.2, 0.3, 0.3, 0.5, 0.5;
  (y) 0.0, 1.0, 0.0;
})",
                                    "rows.bif");
    EXPECT_EQ(network.variables[1].table, (std::vector<double>{0.2, 0.3, 0.5, 0.0, 1.0, 0.0}));
}

TEST(BifWriter, WritesTablesForRootsAndRowsForChildren) {
    Network network;
    network.name = "tiny";
    network.properties = {"version 2"};
    network.variables = {
        {"rain", {"yes", "no"}, {}, {0.2, 0.8}, {"position = (1, 2)"}},
        {"wet grass", {"yes", "no"}, {0}, {0.9, 0.1, 0.125, 0.875}, {}},
    };
    network.reindex();
    const std::string text = writeBif(network);
    EXPECT_EQ(text, R"(network tiny {
  property version 2;
}
variable rain {
  type discrete [ 2 ] { yes, no };
  property position = (1, 2);
}
variable "wet grass" {
  type discrete [ 2 ] { yes, no };
}
probability ( rain ) {
  table 0.2, 0.8;
}
probability ( "wet grass" | rain ) {
  (yes) 0.9, 0.1;
  (no) 0.125, 0.875;
}
)");
    expectSameNetwork(readBif(kDogProblem, "dog.bif"), readBif(writeBif(readBif(kDogProblem, "dog.bif")), "again.bif"));
}

TEST(BifReader, ReportsFileLineAndWhatWasExpected) {
    const std::string header = "variable A { type discrete [ 2 ] { a, b }; }\n"
                               "variable B { type discrete [ 2 ] { a, b }; }\n";
    const std::string tables = "probability ( A ) { table 0.5, 0.5; }\n"
                               "probability ( B | A ) { (a) 0.1, 0.9; (b) 0.2, 0.8; }\n";
    expectErrors({
        {"varible A { }", "bad.bif:1: expected 'network', 'variable' or 'probability', found 'varible'"},
        {"variable A { type discrete [ 2 ] { a, b } }", "bad.bif:1: expected ';', found '}'"},
        {"variable A {\n type discrete [ 3 ] { a, b }; }", "bad.bif:2: expected 3 states, found 2"},
        {"variable A {\n type discrete [ two ] { a, b }; }", "bad.bif:2: expected state count, found 'two'"},
        {"variable A {\n type discrete [ 1e308 ] { a, b }; }", "bad.bif:2: expected state count, found '1e308'"},
        {"variable A {\n type discrete [ 2.5 ] { a, b }; }", "bad.bif:2: expected state count, found '2.5'"},
        {"variable A { }\nprobability ( A ) {\n table 1; }", "bad.bif:2: expected states declared for 'A', found none"},
        {"variable A {\n kind discrete; }", "bad.bif:2: expected 'type', 'property' or '}', found 'kind'"},
        {header + "variable A { type discrete [ 2 ] { a, b }; }",
         "bad.bif:3: expected a new variable name, found duplicate 'A'"},
        {header + "probability ( C ) { table 1; }", "bad.bif:3: expected a declared variable, found unknown 'C'"},
        {header + "probability ( B | C ) { table 1; }", "bad.bif:3: expected a declared variable, found unknown 'C'"},
        {header + "probability ( B | A, A ) {\n table 1; }", "bad.bif:3: expected distinct parents, found 'A' twice"},
        {header + "probability ( A ) {\n table 0.5; }", "bad.bif:4: expected 2 probabilities, found 1"},
        {header + "probability ( A ) {\n table 0.2, 0.3, 0.5; }", "bad.bif:4: expected 2 probabilities, found 3"},
        {header + "probability ( A ) { table 0.5, x; }", "bad.bif:3: expected probability, found 'x'"},
        {header + "probability ( A ) { table -0.5, 1.5; }", "bad.bif:3: expected non-negative probability, found '-0.5'"},
        {header + "probability ( A ) { table 0.5, 0.5 }", "bad.bif:3: expected probability, found '}'"},
        {header + "probability ( B | A ) {\n (c) 0.1, 0.9; }", "bad.bif:4: expected a state of 'A', found unknown 'c'"},
        {header + "probability ( B | A ) { (a, b) 0.1, 0.9; }", "bad.bif:3: expected ')' after 1 parent states, found ','"},
        {header + "probability ( B | A ) {\n (a) 0.1, 0.9;\n}", "bad.bif:5: expected probabilities for (A=b), found '}'"},
        {header + "probability ( B | A ) { (a) 0.1, 0.9;\n (a) 0.1, 0.9; }",
         "bad.bif:4: expected each parent configuration once, found a repeated row"},
        {header + "probability ( B | A ) { nonsense }",
         "bad.bif:3: expected 'table', 'default', '(', 'property' or '}', found 'nonsense'"},
        {header + tables + "probability ( A ) { table 0.5, 0.5; }",
         "bad.bif:5: expected one table per variable, found a second one for 'A'"},
        {header + "probability ( A ) { table 0.5, 0.5; }\n", "bad.bif:4: expected a table for variable 'B', found none"},
        {header + "/* open comment\n", "bad.bif:3: expected end of comment '*/', found end of file"},
        {header + "variable \"open", "bad.bif:3: expected closing '\"', found end of file"},
        {header + "network x { property open", "bad.bif:3: expected ';', found end of file"},
        {header + "probability ( A | B ) { table 0.5, 0.5, 0.5, 0.5; }\n" + "probability ( B | A ) { table 0.5, 0.5, 0.5, 0.5; }",
         "bad.bif: cycle: A -> B -> A"},
        {header + "probability ( A ) { table 0.5, 0.4; }\n" + "probability ( B | A ) { default 0.5, 0.5; }",
         "bad.bif: variable \"A\": probabilities sum to 0.9, expected 1"},
    }, [&](const std::string& text) { readBif(text, "bad.bif"); });
}

}  // namespace
}  // namespace samplenet
