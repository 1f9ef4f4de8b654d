#include "lib/formats/evidence_parser.h"

#include <gtest/gtest.h>

#include "lib/model/errors.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/error_message.h"

namespace {

using samplenet::Evidence;

samplenet::Network smokerNetwork() {
    samplenet::Network network;
    network.variables.push_back({"Smoker", {"yes", "no"}, {}, {0.3, 0.7}, {}});
    network.variables.push_back({"Cough", {"none", "mild", "bad"}, {0}, {0.2, 0.3, 0.5, 0.6, 0.3, 0.1}, {}});
    network.reindex();
    return network;
}

std::string errorOf(const std::string& assignment, Evidence evidence = {}) {
    return testing_support::messageOf<samplenet::EvidenceError>(
        [&] { samplenet::addEvidenceAssignment(smokerNetwork(), assignment, evidence); });
}

TEST(EvidenceParser, ReadsStatesAndLikelihoods) {
    Evidence evidence;
    samplenet::addEvidenceAssignment(smokerNetwork(), " Smoker = no ", evidence);
    samplenet::addEvidenceAssignment(smokerNetwork(), "Cough=[0.5, 1e-1 ,2]", evidence);
    EXPECT_EQ(evidence.hard, (std::map<int, int>{{0, 1}}));
    EXPECT_EQ(evidence.likelihood.at(1), (std::vector<double>{0.5, 0.1, 2.0}));
}

TEST(EvidenceParser, NamesWhatIsWrong) {
    EXPECT_EQ(errorOf("Smoker=maybe"), "unknown state \"maybe\" of \"Smoker\"; valid states: yes, no");
    EXPECT_EQ(errorOf("Smokes=yes"), "unknown node \"Smokes\"");
    EXPECT_EQ(errorOf("Smoker"), "evidence \"Smoker\" is not of the form NODE=STATE or NODE=[l1,l2,...]");
    EXPECT_EQ(errorOf("Cough=[1,2]"), "likelihood of \"Cough\" has 2 values; expected one per state (3)");
    EXPECT_EQ(errorOf("Cough=[1,x,2]"), "likelihood of \"Cough\": \"x\" is not a number");
    EXPECT_EQ(errorOf("Cough=[1,,2]"), "likelihood of \"Cough\": \"\" is not a number");
    EXPECT_EQ(errorOf("Cough=[1,2,3"), "likelihood of \"Cough\" lacks its closing ']'");
    EXPECT_EQ(errorOf("Cough=[0,0,0]"), "likelihood of \"Cough\" is zero for every state");
    EXPECT_EQ(errorOf("Smoker=no", Evidence{{{0, 0}}, {}}), "evidence on \"Smoker\" is given twice");
}

TEST(EvidenceParser, ReadsFilesWithCommentsAndReportsLines) {
    const std::string path = testing_support::scratchPath("evidence.txt");
    samplenet::testing_formats::writeFile(path, "# observed today\n\nSmoker=yes  # asked\nCough=[1, 0, 0]\n");
    const Evidence evidence = samplenet::readEvidenceFile(smokerNetwork(), path);
    EXPECT_EQ(evidence.hard, (std::map<int, int>{{0, 0}}));
    EXPECT_EQ(evidence.likelihood.at(1), (std::vector<double>{1.0, 0.0, 0.0}));

    samplenet::testing_formats::writeFile(path, "Smoker=yes\n\nCough=awful\n");
    EXPECT_EQ(testing_support::messageOf<samplenet::EvidenceError>([&] { samplenet::readEvidenceFile(smokerNetwork(), path); }),
              path + ":3: unknown state \"awful\" of \"Cough\"; valid states: none, mild, bad");

    // The text form: Windows line ends, no final newline, and .evid for UAI.
    EXPECT_EQ(samplenet::readEvidenceText(smokerNetwork(), "Smoker=no\r\nCough=bad", "e.txt").hard,
              (std::map<int, int>{{0, 1}, {1, 2}}));
    EXPECT_EQ(samplenet::readEvidenceText(smokerNetwork(), "1 1 2", "e.evid").hard, (std::map<int, int>{{1, 2}}));
}

// Reports echo evidence in the order it was given, whatever its kind; what
// code added to the maps directly follows by index, and what it removed is
// left out.
TEST(EvidenceParser, KeepsTheOrderGiven) {
    const samplenet::Network network = smokerNetwork();
    Evidence evidence;
    samplenet::addEvidenceAssignment(network, "Cough=[0.2,1,1]", evidence);
    samplenet::addEvidenceAssignment(network, "Smoker=no", evidence);
    EXPECT_EQ(samplenet::observedInGivenOrder(evidence), (std::vector<int>{1, 0}));
    EXPECT_EQ(samplenet::observedInGivenOrder(samplenet::readEvidenceText(network, "2 1 2 0 0", "e.evid")),
              (std::vector<int>{1, 0}));

    Evidence added;
    added.hard[1] = 0;
    added.likelihood[0] = {1.0, 0.5};
    EXPECT_EQ(samplenet::observedInGivenOrder(added), (std::vector<int>{0, 1}));
    evidence.hard.erase(0);
    EXPECT_EQ(samplenet::observedInGivenOrder(evidence), (std::vector<int>{1}));
}

}  // namespace
