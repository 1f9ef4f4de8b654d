#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

extern char** environ;

namespace {

using cli_testing::dataFile;
using cli_testing::fileContents;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetOut;
using testing_support::scratchPath;

// Starts samplenet with its output and errors discarded.
pid_t startSamplenet(const std::vector<std::string>& arguments) {
    std::vector<std::string> words{SAMPLENET_BINARY};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int status = posix_spawn(&pid, SAMPLENET_BINARY, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return status == 0 ? pid : -1;
}

std::vector<pid_t> childrenOf(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/children");
    std::vector<pid_t> children;
    for (pid_t child; in >> child;) children.push_back(child);
    return children;
}

// Gone, or a zombie waiting for whoever inherited it.
bool ended(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const auto state = text.rfind(") ");
    return text.empty() || (state != std::string::npos && text[state + 2] == 'Z');
}

TEST(BatchStreaming, AStopSignalEndsTheWorkersAndLeavesNoOutputFile) {
    const std::string cases = cli_testing::smokerCases(scratchPath("slow_cases.csv"), 40);
    for (const int signal : {SIGTERM, SIGINT}) {
        const testing_support::ScratchFolder directory;
        const std::string output = directory.file("out.csv");
        const pid_t batch = startSamplenet(
            {"batch", dataFile("smoker.bif"), cases, "-a", "epis", "-n", "20000000", "-j", "2", "-o", output});
        ASSERT_GT(batch, 0);
        std::vector<pid_t> workers;
        for (int wait = 0; wait < 500 && workers.size() < 2; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            workers = childrenOf(batch);
        }
        ASSERT_EQ(workers.size(), 2u);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the first cases are running
        kill(batch, signal);
        int status = 0;
        ASSERT_EQ(waitpid(batch, &status, 0), batch);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << "status " << status;
        for (const pid_t worker : workers) {
            for (int wait = 0; wait < 200 && !ended(worker); ++wait)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            EXPECT_TRUE(ended(worker)) << "worker " << worker << " still runs after signal " << signal;
            if (!ended(worker)) kill(worker, SIGKILL);
        }
        EXPECT_TRUE(std::filesystem::is_empty(directory.path())) << "signal " << signal;
    }
}

TEST(BatchStreaming, AnOutputFileAppearsOnlyWholeAndAnUnwritableOneFailsBeforeAnyCase) {
    const testing_support::ScratchFolder scratch;
    const std::filesystem::path& directory = scratch.path();
    const std::string cases = cli_testing::smokerCases(scratchPath("whole_cases.csv"), 50);
    const std::string output = scratch.file("out.csv");
    EXPECT_EQ(runSamplenetOut({"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-j", "2", "-o", output}), "");
    const std::string printed = runSamplenetOut({"batch", dataFile("smoker.bif"), cases, "-a", "exact"});
    EXPECT_EQ(fileContents(output), printed);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1) << "a temporary file was left";

    // The first row is bad: with the output checked first, it is never run.
    const std::string badFirst = cli_testing::scratchFile("bad_first.csv", "Smoker\nmaybe\nyes\n");
    cli_testing::expectRefusal(runSamplenet({"batch", dataFile("smoker.bif"), badFirst, "--on-error", "fail", "-o",
                                             (directory / "no_such_folder" / "out.csv").string()}),
                               "no_such_folder/out.csv: cannot write file: No such file or directory");

    // A failing case leaves the earlier output file as it was.
    const auto failed = runSamplenet({"batch", dataFile("smoker.bif"), badFirst, "--on-error", "fail", "-o", output});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(fileContents(output), printed);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);
}

// Peak resident memory of one batch run over `rows` cases, in KiB.
long peakMemoryOfBatch(std::size_t rows) {
    const std::string cases = cli_testing::smokerCases(scratchPath("memory_cases.csv"), rows);
    const pid_t batch = startSamplenet({"batch", dataFile("smoker.bif"), cases, "-a", "exact", "-j", "1"});
    int status = 0;
    rusage usage{};
    if (wait4(batch, &status, 0, &usage) != batch || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    return usage.ru_maxrss;
}

TEST(BatchStreaming, MemoryDoesNotGrowWithTheNumberOfCases) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer keeps freed memory in quarantine, so peak memory grows with the work done";
#endif
    const long few = peakMemoryOfBatch(1000);
    const long many = peakMemoryOfBatch(100000);
    ASSERT_GT(few, 0);
    EXPECT_LT(many - few, 4096) << few << " KiB for 1,000 cases, " << many << " KiB for 100,000";
}

TEST(BatchStreaming, DrawsAProgressBarOnATerminalOnly) {
    const std::string cases = cli_testing::smokerCases(scratchPath("progress_cases.csv"), 60);
    const std::string output = scratchPath("progress.csv");
    const std::string batch = std::string(SAMPLENET_BINARY) + " batch " + dataFile("smoker.bif") + " " + cases +
                              " -a epis -n 100000 -j 2 -o " + output;
    // `script` runs the command on a pseudo-terminal and copies what it shows.
    const std::string shown = scratchPath("progress.txt");
    ASSERT_EQ(std::system(("script -qec '" + batch + "' /dev/null >" + shown + " 2>&1").c_str()), 0);
    const std::string screen = fileContents(shown);
    EXPECT_NE(screen.find("\r["), std::string::npos) << screen;
    EXPECT_NE(screen.find("%"), std::string::npos) << screen;
    EXPECT_NE(screen.find("\r\033[K"), std::string::npos) << "the bar is not cleared at the end";

    const auto piped = runSamplenet({"batch", dataFile("smoker.bif"), cases, "-a", "epis", "-n", "100000", "-j", "2",
                                     "-o", output});
    EXPECT_EQ(piped.exitCode, 0);
    EXPECT_EQ(piped.err, "");
}

}  // namespace
