#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "lib/formats/formats.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

using testing_formats::expectSameNetwork;
using testing_support::scratchPath;

const std::string kNetworks = std::string(SAMPLENET_TEST_DATA) + "/networks/";

// Variable counts of the reference networks.
const std::map<std::string, int> kVariableCounts = {
    {"alarm", 37},    {"andes", 223},  {"asia", 8},        {"barley", 48},   {"cancer", 5},    {"child", 20},
    {"earthquake", 5}, {"hailfinder", 56}, {"hepar2", 70}, {"insurance", 27}, {"link", 724},  {"munin", 1041},
    {"pigs", 441},    {"sachs", 11},   {"survey", 6},      {"win95pts", 76},
};

TEST(ReferenceNetworks, AllLoadWithTheirVariableCounts) {
    std::map<std::string, int> found;
    for (const auto& entry : std::filesystem::directory_iterator(kNetworks)) {
        const std::string file = entry.path().filename().string();
        if (!file.ends_with(".bif.gz")) continue;
        SCOPED_TRACE(file);
        found[file.substr(0, file.size() - 7)] = readNetwork(entry.path().string()).size();
    }
    EXPECT_EQ(found, kVariableCounts);
}

TEST(ReferenceNetworks, AsiaTablesFollowTheModelLayout) {
    const Network asia = readNetwork(kNetworks + "asia.bif.gz");
    const Variable& dysp = asia.variables[*asia.indexOf("dysp")];
    ASSERT_EQ(dysp.parents, (std::vector<int>{*asia.indexOf("bronc"), *asia.indexOf("either")}));
    // Rows in the file: (yes, yes) 0.9, 0.1; (no, yes) 0.7, 0.3; (yes, no) 0.8, 0.2; (no, no) 0.1, 0.9.
    EXPECT_EQ(dysp.table, (std::vector<double>{0.9, 0.1, 0.8, 0.2, 0.7, 0.3, 0.1, 0.9}));
    EXPECT_EQ(asia.variables[0].name, "asia");
    EXPECT_EQ(asia.variables[0].table, (std::vector<double>{0.01, 0.99}));
    EXPECT_EQ(asia.name, "unknown");
}

// Every reference network through every writer and back.
class RoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(RoundTrip, EveryWriterAndReaderPreservesTheNetwork) {
    const Network original = readNetwork(kNetworks + GetParam() + ".bif.gz");
    // UAI keeps no names: it regenerates them, so only the rest is compared.
    for (const std::string extension : {".bif", ".xml", ".net", ".bif.gz", ".uai"}) {
        SCOPED_TRACE(extension);
        const std::string path = scratchPath(GetParam() + extension);
        writeNetwork(original, path);
        expectSameNetwork(original, readNetwork(path), extension != ".uai");
        std::filesystem::remove(path);
    }
}

std::vector<std::string> networkNames() {
    std::vector<std::string> names;
    for (const auto& [name, count] : kVariableCounts) names.push_back(name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(ReferenceNetworks, RoundTrip, ::testing::ValuesIn(networkNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace samplenet
