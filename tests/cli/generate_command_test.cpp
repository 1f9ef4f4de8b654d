#include <gtest/gtest.h>

#include <filesystem>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::runSamplenet;
using testing_support::scratchPath;

TEST(GenerateCommand, WritesANetworkThatReadsBack) {
    const std::string path = scratchPath("random.bif.gz");
    EXPECT_EQ(cli_testing::runSamplenetOut({"generate", path, "--nodes", "40", "--states", "2,3", "--max-parents", "2",
                                            "--locality", "5", "--zero-share", "0.2", "--seed", "11"}),
              "");
    EXPECT_EQ(cli_testing::fileContents(path).substr(0, 2), "\x1f\x8b");  // gzip
    const std::string info = cli_testing::runSamplenetOut({"info", path});
    EXPECT_NE(info.find("nodes: 40\n"), std::string::npos) << info;
    EXPECT_NE(info.find("states: min 2, max 3,"), std::string::npos) << info;
    EXPECT_NE(info.find("max in-degree: 2\n"), std::string::npos) << info;
}

// Refused before anything is written, with one line naming what is wrong.
TEST(GenerateCommand, RefusesWithoutWriting) {
    const struct {
        std::vector<std::string> options;
        std::string file;
        std::string message;
    } cases[]{
        {{}, "random.txt", "cannot tell the format of"},
        {{"--nodes", "2000000"}, "huge.bif",
         "a network of 2000000 nodes with up to 4 states and 3 parents may need 5.1e8 table entries, above the "
         "limit of 67108864 (--max-total-entries)"},
        {{"--states", "3,5", "--max-states", "4"}, "many_states.uai",
         "nodes of up to 5 states are above the limit of 4 states (--max-states)"},
        {{"--states", "4,2"}, "reversed.bif", "the fewest states (4) are above the most states (2)"},
        {{"--nodes", "0"}, "empty.bif", "--nodes: expected a whole number of at least 1"},
    };
    for (const auto& bad : cases) {
        const std::string path = scratchPath(bad.file);
        cli_testing::expectRefusal(runSamplenet(cli_testing::with({"generate", path}, bad.options)), bad.message);
        EXPECT_FALSE(std::filesystem::exists(path)) << bad.file;
    }
}

}  // namespace
