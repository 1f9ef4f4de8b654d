#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "fuzz/fuzz_input.h"

namespace samplenet::fuzzing {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// Every input a fuzz target ever crashed on, kept under the target's name,
// must now be accepted or refused with a documented error.
TEST(FuzzRegressions, EveryKeptInputEndsInAResultOrAnError) {
    int inputs = 0;
    for (const auto& folder : fs::directory_iterator(FUZZ_REGRESSIONS)) {
        const auto target = targetNamed(folder.path().filename().string());
        ASSERT_TRUE(target) << "no fuzz target named " << folder.path().filename();
        for (const auto& file : fs::directory_iterator(folder.path())) {
            SCOPED_TRACE(file.path().string());
            EXPECT_NO_THROW(consume(*target, contents(file.path())));
            ++inputs;
        }
    }
    EXPECT_GT(inputs, 0);
}

// The seeds include valid networks in every format: the harness must accept
// them, or the fuzzers would only ever explore error paths.
TEST(FuzzSeeds, ValidNetworksAreAcceptedAndErrorCasesRefused) {
    const fs::path seeds = FUZZ_SEEDS;
    EXPECT_EQ(consume(Target::Bif, contents(seeds / "bif/asia.bif")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::XmlBif, contents(seeds / "xmlbif/child.xml")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Net, contents(seeds / "net/sachs.net")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Uai, contents(seeds / "uai/survey.uai")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Gzip, contents(seeds / "gzip/cancer.bif.gz")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Evidence, contents(seeds / "evidence/file-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Evidence, contents(seeds / "evidence/uai-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::ExploreRequest, contents(seeds / "explore/evidence-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::ExploreRequest, contents(seeds / "explore/nodes-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::ExploreRequest, contents(seeds / "explore/unknown-state")), Outcome::Refused);
    EXPECT_EQ(consume(Target::Bif, contents(seeds / "bif/cycle.bif")), Outcome::Refused);
    EXPECT_EQ(consume(Target::Uai, contents(seeds / "uai/error-00")), Outcome::Refused);
}

}  // namespace
}  // namespace samplenet::fuzzing
