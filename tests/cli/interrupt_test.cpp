#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

// Whether the process catches SIGINT, as /proc shows it: then its run is
// under way (the command installs its handler just before inference).
bool catchesInterrupt(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("SigCgt:")) return (std::stoull(line.substr(7), nullptr, 16) >> (SIGINT - 1)) & 1;
    return false;
}

// Ctrl-C during a run that would last for hours ends it with exit code 130,
// a message and no results, for each kind of algorithm.
TEST(Interrupt, SigintEndsARunWithExitCode130) {
    // Each run gets only the options its algorithm reads, which leaves its
    // standard error to the interruption.
    const std::vector<std::pair<const char*, const char*>> runs{{"epis", "-n"}, {"lbp", "--iterations"}};
    for (const auto& [algorithm, count] : runs) {
        const std::string err = testing_support::scratchPath("interrupt.err");
        const std::string out = testing_support::scratchPath("interrupt.out");
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), STDOUT_FILENO);
            dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), STDERR_FILENO);
            execl(SAMPLENET_BINARY, SAMPLENET_BINARY, "infer", "-a", algorithm, count, "2000000000",
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!catchesInterrupt(pid) && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (!catchesInterrupt(pid)) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            FAIL() << algorithm << ": the run never handles SIGINT";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        kill(pid, SIGINT);
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFEXITED(status)) << algorithm;
        EXPECT_EQ(WEXITSTATUS(status), 130) << algorithm;
        EXPECT_EQ(cli_testing::fileContents(err), "samplenet: interrupted\n") << algorithm;
        EXPECT_EQ(cli_testing::fileContents(out), "") << algorithm;
    }
}

}  // namespace
