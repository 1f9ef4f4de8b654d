#include <gtest/gtest.h>

#include <filesystem>

#include "lib/formats/formats.h"
#include "lib/formats/text_file.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

using testing_formats::errorOf;
using testing_support::fileContents;
using testing_support::scratchPath;
using testing_formats::writeFile;

const char* const kCoin = "variable coin { type discrete [ 2 ] { heads, tails }; }\n"
                          "probability ( coin ) { table 0.5, 0.5; }\n";

TEST(FormatOfPath, ChoosesByExtensionWithOptionalGzip) {
    EXPECT_EQ(formatOfPath("a/alarm.bif"), FileFormat::Bif);
    EXPECT_EQ(formatOfPath("alarm.BIF.gz"), FileFormat::Bif);
    EXPECT_EQ(formatOfPath("x.xml"), FileFormat::XmlBif);
    EXPECT_EQ(formatOfPath("x.xmlbif.gz"), FileFormat::XmlBif);
    EXPECT_EQ(formatOfPath("x.net"), FileFormat::Net);
    EXPECT_EQ(formatOfPath("x.uai"), FileFormat::Uai);
    EXPECT_EQ(formatOfPath("x.gz"), std::nullopt);
    EXPECT_EQ(formatOfPath("x.dsc"), std::nullopt);
    EXPECT_EQ(formatOfPath("bif"), std::nullopt);
}

TEST(NetworkFiles, ReadsPlainAndGzipFilesAlike) {
    const std::string compressed = scratchPath("coin.bif.gz");
    writeTextFile(compressed, kCoin, true);
    EXPECT_EQ(fileContents(compressed).substr(0, 2), "\x1f\x8b");  // gzip magic
    EXPECT_EQ(readTextFile(compressed), kCoin);

    // A compressed file under a plain name is still read, and vice versa.
    const std::string misnamed = scratchPath("coin-compressed.bif");
    std::filesystem::copy_file(compressed, misnamed);
    EXPECT_EQ(readNetwork(misnamed).variables[0].name, "coin");

    const std::string written = scratchPath("coin-written.bif");
    writeNetwork(readNetwork(compressed), written);
    EXPECT_EQ(fileContents(written).substr(0, 8), "network ");
}

TEST(NetworkFiles, ReportsUnreadableFilesAndUnknownExtensions) {
    const std::string missing = scratchPath("missing.bif");
    EXPECT_EQ(errorOf([&] { readNetwork(missing); }), missing + ": cannot open file: No such file or directory");
    EXPECT_EQ(errorOf([&] { readUaiEvidence(Network{}, missing + ".evid"); }),
              missing + ".evid: cannot open file: No such file or directory");

    const std::string directory = scratchPath("folder.bif");
    std::filesystem::create_directory(directory);
    EXPECT_EQ(errorOf([&] { readNetwork(directory); }), directory + ": cannot read file: Is a directory");

    const std::string corrupt = scratchPath("corrupt.bif.gz");
    writeFile(corrupt, std::string("\x1f\x8b\x08\x00garbage-after-a-gzip-header", 31));
    EXPECT_NE(errorOf([&] { readNetwork(corrupt); }).find(corrupt + ": cannot read file: "), std::string::npos);

    EXPECT_EQ(errorOf([&] { readNetwork("network.dsc"); }),
              "network.dsc: unknown file extension, expected .bif, .xml, .xmlbif, .net or .uai, optionally followed by .gz");
    const std::string unwritable = scratchPath("no-such-folder") + "/network.bif";
    EXPECT_EQ(errorOf([&] { writeNetwork(Network{}, unwritable); }),
              unwritable + ": cannot write file: No such file or directory");
}

TEST(NetworkFiles, RefusesToWriteAMalformedNetwork) {
    Network network;
    network.variables = {{"A", {"a", "b"}, {}, {0.5}, {}}};
    const std::string path = scratchPath("short.bif");
    EXPECT_EQ(errorOf([&] { writeNetwork(network, path); }),
              "variable \"A\": table has 1 entries, expected 2 (1 parent configurations x 2 states)");
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace samplenet
