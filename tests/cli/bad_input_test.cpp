#include <gtest/gtest.h>

#include <filesystem>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::dataFile;
using cli_testing::runSamplenet;

struct BadInput {
    std::vector<std::string> arguments;
    int exitCode;
    std::string message;  // part of the one-line error
};

// Each bad input ends with one line on stderr, nothing on stdout and the
// documented exit code: 1 for usage and input errors, 2 when inference fails.
TEST(BadInput, OneLineMessageAndExitCode) {
    const std::string smoker = dataFile("smoker.bif");
    const std::string asia = std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz";
    const std::vector<BadInput> cases{
        {{}, 1, "A subcommand is required"},
        {{"infer", "no/such/net.bif"}, 1, "no/such/net.bif"},
        {{"info", "no/such/net.bif"}, 1, "no/such/net.bif"},
        {{"infer", dataFile("broken.bif")}, 1, "broken.bif:8"},
        {{"infer", dataFile("cycle.bif")}, 1, "cycle.bif: cycle: A -> B -> A"},
        {{"infer", dataFile("bad_sum.bif")}, 1, "variable \"B\": probabilities for (A=a) sum to 0.9, expected 1"},
        {{"infer", dataFile("bad_sum.bif"), "--sum-tolerance", "1.5"}, 1, "--sum-tolerance"},
        {{"info", dataFile("empty.bif")}, 1, "empty.bif: no network in the file"},
        {{"info", dataFile("negative.bif")}, 1, "negative.bif:10: expected non-negative probability, found '-0.5'"},
        {{"infer", dataFile("duplicate.bif")}, 1, "duplicate.bif:9: expected a new variable name, found duplicate 'A'"},
        {{"convert", dataFile("missing_row.bif"), "out.xml"}, 1, "missing_row.bif:14: expected probabilities for (A=b)"},
        {{"infer", smoker, "-e", "Smokr=yes"}, 1, "unknown node \"Smokr\""},
        {{"infer", smoker, "-e", "Smoker=maybe"}, 1, "unknown state \"maybe\" of \"Smoker\"; valid states: yes, no"},
        {{"infer", smoker, "-e", "Cough=[1,2,3]"}, 1, "expected one per state (2)"},
        {{"infer", smoker, "-e", "Cough"}, 1, "is not of the form NODE=STATE"},
        {{"infer", smoker, "--evidence-file", "no/such.evidence"}, 1, "no/such.evidence"},
        {{"infer", smoker, "-q", "Nobody"}, 1, "unknown node \"Nobody\""},
        {{"infer", smoker, "-n", "0"}, 1, "--samples: expected a whole number of at least 1 and at most 2147483647, found \"0\""},
        {{"infer", smoker, "-n", "many"}, 1, "--samples: expected a whole number of at least 1 and at most 2147483647, found \"many\""},
        {{"infer", smoker, "--propagation-length", "-1"}, 1, "--propagation-length"},
        {{"bench", smoker, "--observed", "2"}, 1, "--observed"},
        {{"infer", "-a", "exact", "--memory-limit", "1e-5"}, 1, "use an approximate algorithm such as -a epis"},
        // Resource limits: what a file may declare, and what a run may use.
        {{"info", dataFile("huge_states.uai")}, 1,
         "huge_states.uai:3: expected at most 65536 states per variable (--max-states), found 2000000000 for 'v1'"},
        {{"infer", dataFile("huge_table.bif")}, 1,
         "huge_table.bif:15: expected a table of at most 16777216 entries (--max-table-entries), found a larger one for 'C'"},
        {{"convert", smoker, "out.xml", "--max-states", "1"}, 1,
         "smoker.bif:4: expected at most 1 states per variable (--max-states), found 2 for 'Smoker'"},
        {{"bench", smoker, "--max-table-entries", "3"}, 1,
         "smoker.bif:15: expected a table of at most 3 entries (--max-table-entries), found a larger one for 'Cough'"},
        {{"infer", smoker, "--max-total-entries", "9"}, 1,
         "smoker.bif:19: expected at most 9 table entries in all (--max-total-entries), found more with the table of 'Lungs'"},
        {{"info", smoker, "--max-states", "0"}, 1, "--max-states: expected a whole number of at least 1"},
        {{"infer", smoker, "-a", "lbp", "--memory-limit", "1e-9"}, 1,
         "lbp needs about 320 bytes for its copies of the network's tables, above the memory limit of 1 bytes; raise it "
         "with --memory-limit"},
        {{"infer", smoker, "--max-seconds", "0"}, 1, "--max-seconds: expected a number above 0 and at most 31536000, found \"0\""},
        {{"infer", smoker, "--max-seconds", "1e12"}, 1, "--max-seconds: expected a number above 0 and at most 31536000, found \"1e12\""},
        {{"infer", smoker, "-a", "exact", "-e", "Smoker=no", "-e", "Lungs=damaged"}, 2,
         "the evidence is impossible under the model"},
        {{"infer", smoker, "--iterations", "-3"}, 1, "--iterations"},
        {{"infer", smoker, "--seed", "soon"}, 1, "--seed"},
        {{"infer", smoker, "--seed", "-1"}, 1, "--seed: expected a whole number of at least 0"},
        {{"infer", smoker, "-a", "gibbs"}, 1, "unknown algorithm \"gibbs\""},
        {{"infer", smoker, "--format", "xml"}, 1, "unknown format \"xml\""},
        {{"convert", smoker, "out.txt"}, 1, "cannot tell the format of \"out.txt\""},
        {{"convert", smoker, "no/such/dir/out.bif"}, 1, "no directory no/such/dir"},
        {{"infer", smoker, "-e", "Smoker=no", "-e", "Lungs=damaged"}, 2,
         "the evidence is impossible under the model"},
        // The queries fail as the posteriors do.
        {{"infer", smoker, "--mpe", "-e", "Smoker=no", "-e", "Lungs=damaged"}, 2,
         "the evidence is impossible under the model"},
        {{"infer", smoker, "--mpe", "-q", "Cough", "-e", "Smoker=no", "-e", "Lungs=damaged"}, 2,
         "the evidence is impossible under the model"},
        {{"infer", smoker, "--joint", "Cough", "-e", "Smoker=no", "-e", "Lungs=damaged"}, 2,
         "the evidence is impossible under the model"},
        {{"infer", smoker, "--generator", "odd"}, 1, "--generator: expected standard or wide, found \"odd\""},
        {{"infer", smoker, "--target-error", "1.5"}, 1, "--target-error: expected a number above 0 and below 1, found \"1.5\""},
        {{"infer", smoker, "--target-error", "0"}, 1, "--target-error"},
        {{"infer", smoker, "-a", "lbp", "--tolerance", "-1"}, 1, "--tolerance"},
        {{"infer", smoker, "--jobs", "0"}, 1, "--jobs: expected a whole number of at least 1"},
        {{"infer", smoker, "--jobs", "200", "-n", "100"}, 1,
         "jobs: 200 must not exceed the number of samples (100)"},
        // Node descriptions, d-separation, samples, interventions and impact.
        {{"info", asia, "--node", "nothing"}, 1, "unknown node \"nothing\" in --node"},
        {{"info", asia, "--node", "either", "-e", "asia=yes"}, 1, "--evidence excludes --node"},
        {{"dsep", asia, "tub", "nothing"}, 1, "unknown node \"nothing\""},
        {{"dsep", asia, "tub", "smoke", "--given", "tub"}, 1, "\"tub\" is in two of the sets"},
        {{"dsep", asia, "tub"}, 1, "b is required"},
        {{"sample", asia, "-n", "5", "-e", "nothing=yes"}, 1, "unknown node \"nothing\""},
        {{"sample", asia, "-n", "-1"}, 1, "--samples"},
        {{"sample", asia}, 1, "--samples is required"},
        {{"sample", asia, "-n", "5", "-o", testing_support::scratchPath("out.parquet")}, 1, "CSV"},
        {{"sample", asia, "-n", "5", "-o", testing_support::scratchPath("no-such-directory/out.csv")}, 1,
         "cannot write"},
        {{"infer", asia, "--do", "lung=yes", "-e", "lung=no"}, 1, "\"lung\" is both observed and set by an intervention"},
        {{"infer", asia, "--do", "lungs=yes"}, 1, "unknown node \"lungs\" in an intervention"},
        {{"impact", asia, "-t", "lung", "--do", "lung=yes"}, 1, "the target \"lung\" is set by an intervention"},
        {{"impact", asia, "-t", "lung", "-e", "lung=yes"}, 1, "the target \"lung\" is observed"},
        {{"impact", asia, "-t", "cancer"}, 1, "unknown node \"cancer\" in --target"},
        {{"impact", asia}, 1, "--target is required"},
    };
    for (const BadInput& bad : cases) cli_testing::expectRefusal(runSamplenet(bad.arguments), bad.message, bad.exitCode);
    EXPECT_FALSE(std::filesystem::exists("out.txt"));
}

TEST(BadInput, ColumnsWithinTheSumToleranceAreRescaledWithANote) {
    for (const std::string command : {"infer", "info", "convert", "batch"}) {
        std::vector<std::string> arguments{command, dataFile("bad_sum.bif"), "--sum-tolerance", "0.2"};
        if (command == "convert") arguments.insert(arguments.begin() + 2, testing_support::scratchPath("rescaled.xml"));
        if (command == "batch") arguments.insert(arguments.begin() + 2, dataFile("bad_sum_cases.csv"));
        const auto run = runSamplenet(arguments);
        EXPECT_EQ(run.exitCode, 0) << command << ": " << run.err;
        EXPECT_EQ(run.err.rfind("samplenet: note: ", 0), 0u) << command << ": " << run.err;
        EXPECT_NE(run.err.find("bad_sum.bif: rescaled 1 probability column to sum to 1 (all summed to within 0.2 of "
                               "1; the furthest, variable \"B\" for (A=a), to 0.9)"),
                  std::string::npos)
            << command << ": " << run.err;
    }
}

TEST(BadInput, HelpDocumentsExitCodes) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"}, {"infer", "--help"}}) {
        const auto run = runSamplenet(arguments);
        EXPECT_EQ(run.exitCode, 0);
        const std::string exitCodes = "Exit codes: 0 success; 1 bad usage or input";
        const std::size_t first = run.out.find(exitCodes);
        EXPECT_NE(first, std::string::npos) << run.out;
        EXPECT_EQ(run.out.find(exitCodes, first + 1), std::string::npos) << "said twice: " << run.out;
    }
    EXPECT_NE(runSamplenet({"infer", "--help"}).out.find("only its low 15 bits are used"), std::string::npos);
}

}  // namespace
