#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "fuzz/fuzz_input.h"
#include "tests/support/scratch_folder.h"

namespace samplenet::fuzzing {
namespace {

namespace fs = std::filesystem;

using testing_support::fileContents;

// Every input a fuzz target ever crashed on, kept under the target's name,
// must now be accepted or refused with a documented error.
TEST(FuzzRegressions, EveryKeptInputEndsInAResultOrAnError) {
    int inputs = 0;
    for (const auto& folder : fs::directory_iterator(FUZZ_REGRESSIONS)) {
        const auto target = targetNamed(folder.path().filename().string());
        ASSERT_TRUE(target) << "no fuzz target named " << folder.path().filename();
        for (const auto& file : fs::directory_iterator(folder.path())) {
            SCOPED_TRACE(file.path().string());
            EXPECT_NO_THROW(consume(*target, fileContents(file.path())));
            ++inputs;
        }
    }
    EXPECT_GT(inputs, 0);
}

// The seeds include valid networks in every format: the harness must accept
// them, or the fuzzers would only ever explore error paths.
TEST(FuzzSeeds, ValidNetworksAreAcceptedAndErrorCasesRefused) {
    const fs::path seeds = FUZZ_SEEDS;
    EXPECT_EQ(consume(Target::Bif, fileContents(seeds / "bif/asia.bif")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::XmlBif, fileContents(seeds / "xmlbif/child.xml")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Net, fileContents(seeds / "net/sachs.net")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Uai, fileContents(seeds / "uai/survey.uai")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Gzip, fileContents(seeds / "gzip/cancer.bif.gz")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Evidence, fileContents(seeds / "evidence/file-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::Evidence, fileContents(seeds / "evidence/uai-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::ExploreRequest, fileContents(seeds / "explore/evidence-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::ExploreRequest, fileContents(seeds / "explore/nodes-1")), Outcome::Accepted);
    EXPECT_EQ(consume(Target::ExploreRequest, fileContents(seeds / "explore/unknown-state")), Outcome::Refused);
    EXPECT_EQ(consume(Target::Bif, fileContents(seeds / "bif/cycle.bif")), Outcome::Refused);
    EXPECT_EQ(consume(Target::Uai, fileContents(seeds / "uai/error-00")), Outcome::Refused);
}

}  // namespace
}  // namespace samplenet::fuzzing
