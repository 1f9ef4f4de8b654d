#include <gtest/gtest.h>

#include "lib/formats/xmlbif.h"
#include "tests/formats/format_test_support.h"

namespace samplenet {
namespace {

using testing_formats::expectErrors;
using testing_formats::expectSameNetwork;

const char* const kLightOn = R"(<?xml version="1.0"?>
<!-- written by hand -->
<BIF VERSION="0.3">
<NETWORK>
<NAME>Dog-Problem</NAME>
<PROPERTY>short = dog</PROPERTY>
<VARIABLE TYPE="nature">
  <NAME> light-on </NAME>
  <OUTCOME>true</OUTCOME>
  <OUTCOME>false</OUTCOME>
  <PROPERTY>position = (218, 195)</PROPERTY>
</VARIABLE>
<VARIABLE TYPE="nature">
  <NAME>family-out</NAME>
  <OUTCOME>true</OUTCOME>
  <OUTCOME>false</OUTCOME>
</VARIABLE>
<DEFINITION>
  <FOR>family-out</FOR>
  <TABLE>0.15 0.85</TABLE>
</DEFINITION>
<DEFINITION>
  <FOR>light-on</FOR>
  <GIVEN>family-out</GIVEN>
  <TABLE>0.6 0.4
    0.05 0.95 </TABLE>
</DEFINITION>
</NETWORK>
</BIF>
)";

TEST(XmlBifReader, ReadsVariablesPropertiesAndTablesWithTheVariableFastest) {
    const Network network = readXmlBif(kLightOn, "dog.xml");
    EXPECT_EQ(network.name, "Dog-Problem");
    EXPECT_EQ(network.properties, (std::vector<std::string>{"short = dog"}));
    ASSERT_EQ(network.size(), 2);
    const Variable& lightOn = network.variables[0];
    EXPECT_EQ(lightOn.name, "light-on");
    EXPECT_EQ(lightOn.states, (std::vector<std::string>{"true", "false"}));
    EXPECT_EQ(lightOn.properties, (std::vector<std::string>{"position = (218, 195)"}));
    EXPECT_EQ(lightOn.parents, (std::vector<int>{1}));
    EXPECT_EQ(lightOn.table, (std::vector<double>{0.6, 0.4, 0.05, 0.95}));
    EXPECT_EQ(network.variables[1].table, (std::vector<double>{0.15, 0.85}));
}

TEST(XmlBifWriter, EscapesNamesAndReadsBackIdentically) {
    Network network;
    network.name = "R&D <test>";
    network.variables = {
        {"size<5", {"a & b", "\"quoted\""}, {}, {0.1, 0.9}, {"note = x < y"}},
        {"child", {"on", "off", "maybe"}, {0}, {0.2, 0.3, 0.5, 1.0 / 3, 1.0 / 3, 1.0 / 3}, {}},
    };
    network.reindex();
    const std::string text = writeXmlBif(network);
    EXPECT_NE(text.find("<NAME>size&lt;5</NAME>"), std::string::npos);
    EXPECT_NE(text.find("<GIVEN>size&lt;5</GIVEN>"), std::string::npos);
    expectSameNetwork(network, readXmlBif(text, "written.xml"));
}

TEST(XmlBifReader, ReportsFileLineAndWhatWasExpected) {
    const std::string head = "<BIF><NETWORK>\n"
                             "<VARIABLE TYPE=\"nature\"><NAME>A</NAME><OUTCOME>a</OUTCOME><OUTCOME>b</OUTCOME></VARIABLE>\n";
    const std::string tail = "</NETWORK></BIF>\n";
    const std::string defineA = "<DEFINITION><FOR>A</FOR><TABLE>0.5 0.5</TABLE></DEFINITION>\n";
    expectErrors({
        {"<BIF><NETWORK>\n<VARIABLE>\n</NETWORK></BIF>", "bad.xml:3: expected well-formed XML, found Start-end tags mismatch"},
        {"<NETWORK></NETWORK>", "bad.xml:1: expected <BIF> with a <NETWORK>, found <NETWORK>"},
        {"<!-- nothing -->", "bad.xml:1: expected well-formed XML, found No document element found"},
        {head + "<VARIABLE TYPE=\"decision\"><NAME>D</NAME></VARIABLE>\n" + tail,
         "bad.xml:3: expected TYPE=\"nature\", found 'decision'"},
        {head + "<VARIABLE TYPE=\"nature\"><OUTCOME>x</OUTCOME></VARIABLE>\n" + tail,
         "bad.xml:3: expected <NAME> in <VARIABLE>, found none"},
        {head + "<VARIABLE TYPE=\"nature\"><NAME>A</NAME><OUTCOME>x</OUTCOME></VARIABLE>\n" + tail,
         "bad.xml:3: expected a new variable name, found duplicate 'A'"},
        {head + "<DEFINITION><FOR>B</FOR><TABLE>1</TABLE></DEFINITION>\n" + tail,
         "bad.xml:3: expected a declared variable, found unknown 'B'"},
        {head + "<DEFINITION><FOR>A</FOR>\n<GIVEN>B</GIVEN><TABLE>1</TABLE></DEFINITION>\n" + tail,
         "bad.xml:4: expected a declared variable, found unknown 'B'"},
        {head + "<DEFINITION><FOR>A</FOR>\n</DEFINITION>\n" + tail, "bad.xml:3: expected <TABLE> in <DEFINITION>, found none"},
        {head + "<DEFINITION><FOR>A</FOR>\n<TABLE>0.2 0.3 0.5</TABLE></DEFINITION>\n" + tail,
         "bad.xml:4: expected 2 table entries, found 3"},
        {head + "<DEFINITION><FOR>A</FOR>\n<TABLE>0.5 half</TABLE></DEFINITION>\n" + tail,
         "bad.xml:4: expected probability, found 'half'"},
        {head + "<DEFINITION><FOR>A</FOR>\n<TABLE>1.5 -0.5</TABLE></DEFINITION>\n" + tail,
         "bad.xml:4: expected non-negative probability, found '-0.5'"},
        {head + defineA + defineA + tail, "bad.xml:4: expected one table per variable, found a second one for 'A'"},
        {head + tail, "bad.xml:4: expected a table for variable 'A', found none"},
        {head + "<DEFINITION><FOR>A</FOR><TABLE>0.5 0.6</TABLE></DEFINITION>\n" + tail,
         "bad.xml: variable \"A\": probabilities sum to 1.1, expected 1"},
    }, [&](const std::string& text) { readXmlBif(text, "bad.xml"); });
}

}  // namespace
}  // namespace samplenet
