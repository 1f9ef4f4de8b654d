#include <gtest/gtest.h>

#include <string>

#include "lib/formats/bif.h"
#include "lib/formats/net.h"
#include "lib/formats/text_file.h"
#include "lib/formats/uai.h"
#include "lib/formats/xmlbif.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

using testing_formats::errorOf;
using testing_formats::expectErrors;

ReadLimits tight() {
    ReadLimits limits;
    limits.maxStates = 3;
    limits.maxTableEntries = 8;
    limits.maxTotalEntries = 12;
    return limits;
}

TEST(ReadLimits, EveryReaderRefusesTooManyStatesBeforeStoringThem) {
    expectErrors({{"variable A { type discrete [ 4 ] { a, b, c, d }; }",
                   "bad.bif:1: expected at most 3 states per variable (--max-states), found 4 for 'A'"}},
                 [](const std::string& text) { readBif(text, "bad.bif", tight()); });
    expectErrors({{"net { }\nnode A { states = (\"a\" \"b\" \"c\" \"d\"); }",
                   "bad.net:2: expected at most 3 states per variable (--max-states), found 4 for 'A'"}},
                 [](const std::string& text) { readNet(text, "bad.net", tight()); });
    expectErrors({{"<BIF><NETWORK>\n<VARIABLE><NAME>A</NAME><OUTCOME>a</OUTCOME><OUTCOME>b</OUTCOME>"
                   "<OUTCOME>c</OUTCOME><OUTCOME>d</OUTCOME></VARIABLE></NETWORK></BIF>",
                   "bad.xml:2: expected at most 3 states per variable (--max-states), found 4 for 'A'"}},
                 [](const std::string& text) { readXmlBif(text, "bad.xml", tight()); });
    // UAI names every state itself: two billion of them must not be made.
    expectErrors({{"BAYES\n1\n2000000000\n", "bad.uai:3: expected at most 65536 states per variable (--max-states), found 2000000000 for 'v0'"}},
                 [](const std::string& text) { readUai(text, "bad.uai"); });
}

TEST(ReadLimits, TablesAreMeasuredBeforeTheyAreAllocated) {
    // Four variables of 60000 states: a child of three of them would need
    // 1.3e19 entries, which overflows a 64-bit size on the way.
    const std::string huge = "BAYES\n4\n60000 60000 60000 60000\n4\n4 1 2 3 0\n1 1\n1 2\n1 3\n";
    EXPECT_EQ(errorOf([&] { readUai(huge, "huge.uai"); }),
              "huge.uai:5: expected a table of at most 16777216 entries (--max-table-entries), found a larger one for 'v0'");

    const std::string header = "variable A { type discrete [ 3 ] { a, b, c }; }\n"
                               "variable B { type discrete [ 3 ] { a, b, c }; }\n"
                               "variable C { type discrete [ 2 ] { a, b }; }\n";
    expectErrors({
        {header + "probability ( B | A ) { default 1, 0, 0; }",
         "bad.bif:4: expected a table of at most 8 entries (--max-table-entries), found a larger one for 'B'"},
        {header + "probability ( A ) { table 1, 0, 0; }\nprobability ( C | A ) { default 1, 0; }\n"
                  "probability ( B | C ) { default 1, 0, 0; }",
         "bad.bif:6: expected at most 12 table entries in all (--max-total-entries), found more with the table of 'B'"},
    }, [](const std::string& text) { readBif(text, "bad.bif", tight()); });
    // Exactly at both limits is fine: 3 + 6 + 3 entries.
    EXPECT_EQ(readBif(header + "probability ( A ) { table 1, 0, 0; }\nprobability ( C | A ) { default 1, 0; }\n"
                               "probability ( B ) { table 0, 1, 0; }",
                      "ok.bif", tight())
                  .size(),
              3);
}

// The bytes of `text` as the writer compresses it.
std::string gzip(const std::string& text) {
    const std::string path = testing_support::scratchPath("text.gz");
    writeTextFile(path, text, true);
    return testing_support::fileContents(path);
}

TEST(Decompression, JoinsMembersAndRefusesBombsTruncationAndTrailingData) {
    EXPECT_EQ(decompressed("plain text", "a.bif", 100), "plain text");
    EXPECT_EQ(decompressed(gzip("first, ") + gzip("second"), "a.bif.gz", 100), "first, second");

    const std::string bomb = gzip(std::string(1 << 20, ' '));
    ASSERT_LT(bomb.size(), 2000u);
    EXPECT_EQ(errorOf([&] { decompressed(bomb, "bomb.bif.gz", 1000); }),
              "bomb.bif.gz: expected at most 1000 bytes of text, found more");
    EXPECT_EQ(decompressed(bomb, "bomb.bif.gz", 1 << 20).size(), std::size_t{1} << 20);

    const std::string whole = gzip("variable A { }");
    EXPECT_EQ(errorOf([&] { decompressed(whole.substr(0, whole.size() - 5), "cut.gz", 100); }),
              "cut.gz: cannot read file: unexpected end of file");
    EXPECT_EQ(errorOf([&] { decompressed(whole + "junk", "tail.gz", 100); }),
              "tail.gz: cannot read file: unexpected data after the compressed data");
    EXPECT_EQ(errorOf([&] { decompressed("plain text", "long.bif", 5); }), "long.bif: expected at most 5 bytes of text, found more");
}

}  // namespace
}  // namespace samplenet
