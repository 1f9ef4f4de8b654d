#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "lib/formats/formats.h"
#include "lib/model/errors.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

using testing_formats::errorOf;
using testing_formats::expectSameNetwork;
using testing_support::scratchPath;

// Names a writer must quote or escape: white space, the formats' symbols and
// comment marks, non-ASCII letters, and every format's reserved words.
const std::vector<std::string> kOddNames = {
    "with space", "Ünïcödé", "日本語", "a{b}", "x;y", "p|q", "c,d", "(e)", "k=v", "[i]",
    "%pct", "a//b", "/*c*/", "#hash", "<tag>&amp;", "it's", "1.5", "-3", "network", "variable",
    "probability", "property", "type", "discrete", "table", "default", "net", "node", "potential",
    "states", "data", "name", "label", "position",
};

// A chain of variables named by kOddNames, each with states named by
// kOddNames too (rotated, so that the names meet in every position).
Network oddlyNamed(const std::vector<std::string>& names) {
    Network network;
    network.name = "odd network";
    for (std::size_t v = 0; v < names.size(); ++v) {
        Variable variable{names[v], {names[(v + 1) % names.size()], names[(v + 2) % names.size()]}, {}, {}, {}};
        if (v > 0) variable.parents = {static_cast<int>(v) - 1};
        variable.table = v > 0 ? std::vector<double>{0.25, 0.75, 0.5, 0.5} : std::vector<double>{0.125, 0.875};
        network.variables.push_back(variable);
    }
    network.reindex();
    validate(network);
    return network;
}

TEST(OddNames, EveryFormatReadsBackTheNamesItWrote) {
    const Network original = oddlyNamed(kOddNames);
    // UAI keeps no names, only the structure and tables.
    for (const std::string extension : {".bif", ".xml", ".net", ".net.gz", ".uai"}) {
        SCOPED_TRACE(extension);
        const std::string path = scratchPath("odd" + extension);
        writeNetwork(original, path);
        expectSameNetwork(original, readNetwork(path), extension != ".uai");
    }
}

// BIF and NET strings have no escape for '"': such names are refused
// before anything is written, and the other formats keep them.
TEST(OddNames, NamesWithADoubleQuoteAreRefusedWhereTheFormatCannotHoldThem) {
    std::vector<std::string> names = kOddNames;
    names[1] = "say \"hi\"";
    const Network network = oddlyNamed(names);
    for (const char* extension : {".bif", ".net"}) {
        SCOPED_TRACE(extension);
        const std::string path = scratchPath(std::string("quote") + extension);
        EXPECT_EQ(errorOf([&] { writeNetwork(network, path); }),
                  "the name \"say \"hi\"\" holds a '\"', which " + std::string(extension + 1 == std::string("bif") ? "BIF" : "NET") +
                      " cannot hold; rename it, or write XMLBIF (.xml)");
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    const std::string path = scratchPath("quote.xml");
    writeNetwork(network, path);
    expectSameNetwork(network, readNetwork(path));
}

// XMLBIF readers drop white space at the ends of element text, and XML has
// no control characters: such names are refused there, and BIF keeps them.
TEST(OddNames, NamesXmlCannotHoldAreRefusedThere) {
    for (const std::string& odd : {std::string(" padded "), std::string("bell\a")}) {
        std::vector<std::string> names = kOddNames;
        names[1] = odd;
        const Network network = oddlyNamed(names);
        const std::string path = scratchPath("odd.xml");
        EXPECT_EQ(errorOf([&] { writeNetwork(network, path); }).substr(0, 11 + odd.size()), "the name \"" + odd + "\"");
        EXPECT_FALSE(std::filesystem::exists(path));
        const std::string bif = scratchPath("odd.bif");
        writeNetwork(network, bif);
        expectSameNetwork(network, readNetwork(bif));
    }
}

}  // namespace
}  // namespace samplenet
