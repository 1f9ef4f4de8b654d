#include "lib/output/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "lib/model/errors.h"
#include "tests/support/error_message.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

namespace fs = std::filesystem;

using testing_support::fileContents;

void put(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    lstat(path.c_str(), &status);
    return status.st_mode;
}

template <typename Action>
std::string errorOf(Action action) {
    return testing_support::messageOf<FileError>(action);
}

// Each test in a fresh directory of its own; nothing outside it is written.
class OutputFileTest : public ::testing::Test {
protected:
    std::string at(const std::string& name) const { return scratch.file(name); }

    std::size_t entries() const { return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), {})); }

    const testing_support::ScratchFolder scratch;
    const fs::path& directory = scratch.path();
};

TEST_F(OutputFileTest, ReplacesARegularFileWholeKeepingItsMode) {
    const std::string target = at("out.csv");
    put(target, "old");
    chmod(target.c_str(), 0640);
    {
        OutputFile file(target);
        file.write("new, but not yet");
        EXPECT_EQ(fileContents(target), "old") << "written in place before commit";
        file.abandon();
    }
    EXPECT_EQ(fileContents(target), "old");
    EXPECT_EQ(entries(), 1u) << "a temporary file was left";

    writeOutputFile(target, "new");
    EXPECT_EQ(fileContents(target), "new");
    EXPECT_EQ(modeOf(target) & 07777, 0640u);
    EXPECT_EQ(entries(), 1u);

    // A new file gets the mode any new file gets here.
    put(at("plain"), "");
    writeOutputFile(at("fresh"), "fresh");
    EXPECT_EQ(fileContents(at("fresh")), "fresh");
    EXPECT_EQ(modeOf(at("fresh")) & 07777, modeOf(at("plain")) & 07777);
}

TEST_F(OutputFileTest, FollowsSymbolicLinksAndKeepsThem) {
    put(at("target.bif"), "old");
    fs::create_symlink("target.bif", at("link.bif"));  // relative to the link's folder
    fs::create_symlink(at("link.bif"), at("link-to-link.bif"));
    writeOutputFile(at("link-to-link.bif"), "new");
    EXPECT_TRUE(fs::is_symlink(at("link.bif")));
    EXPECT_TRUE(fs::is_symlink(at("link-to-link.bif")));
    EXPECT_EQ(fileContents(at("target.bif")), "new");

    fs::create_symlink("missing.bif", at("dangling.bif"));
    writeOutputFile(at("dangling.bif"), "created");
    EXPECT_TRUE(fs::is_symlink(at("dangling.bif")));
    EXPECT_EQ(fileContents(at("missing.bif")), "created");

    fs::create_symlink("loop-b", at("loop-a"));
    fs::create_symlink("loop-a", at("loop-b"));
    EXPECT_EQ(errorOf([&] { writeOutputFile(at("loop-a"), "x"); }),
              at("loop-a") + ": cannot write file: Too many levels of symbolic links");
    EXPECT_EQ(entries(), 7u);
}

TEST_F(OutputFileTest, WritesThroughAFifoAndACharacterDevice) {
    const std::string fifo = at("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string text(200000, 'x');  // more than a pipe holds
    std::string received;
    std::thread reader([&] { received = fileContents(fifo); });
    writeOutputFile(fifo, text);
    reader.join();
    EXPECT_EQ(received.size(), text.size());
    EXPECT_TRUE(S_ISFIFO(modeOf(fifo)));
    EXPECT_EQ(entries(), 1u);

    // A node of the null device made here: a rename could only replace this one.
    const std::string device = at("null");
    if (mknod(device.c_str(), S_IFCHR | 0666, makedev(1, 3)) != 0) GTEST_SKIP() << "cannot make a device node here";
    writeOutputFile(device, text);
    EXPECT_TRUE(S_ISCHR(modeOf(device)));
    EXPECT_EQ(entries(), 2u);
}

TEST_F(OutputFileTest, RefusesReadOnlyFilesFoldersAndMissingFolders) {
    const std::string readOnly = at("kept.csv");
    put(readOnly, "kept");
    chmod(readOnly.c_str(), 0444);
    // Also as root, which the system would let write it.
    EXPECT_EQ(errorOf([&] { writeOutputFile(readOnly, "new"); }),
              readOnly + ": cannot write file: the file is read-only (mode 0444)");
    EXPECT_EQ(fileContents(readOnly), "kept");
    try {
        writeOutputFile(readOnly, "new");
    } catch (const FileError& error) {
        EXPECT_EQ(error.error, EACCES);
        EXPECT_EQ(error.path, readOnly);
    }
    fs::create_symlink("kept.csv", at("link.csv"));
    EXPECT_NE(errorOf([&] { writeOutputFile(at("link.csv"), "new"); }).find("read-only"), std::string::npos);

    EXPECT_EQ(errorOf([&] { writeOutputFile(directory.string(), "x"); }),
              directory.string() + ": cannot write file: Is a directory");
    EXPECT_EQ(errorOf([&] { writeOutputFile(at("no-folder/out.csv"), "x"); }),
              at("no-folder/out.csv") + ": cannot write file: No such file or directory");
    EXPECT_EQ(entries(), 2u);
}

TEST_F(OutputFileTest, AFailedWriteIsAnErrorAndLeavesTheOldFile) {
    // A reader that goes away at once: the writes fail with EPIPE.
    const std::string fifo = at("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto previous = signal(SIGPIPE, SIG_IGN);
    std::thread reader([&] { close(open(fifo.c_str(), O_RDONLY)); });
    EXPECT_EQ(errorOf([&] { writeOutputFile(fifo, std::string(1 << 20, 'x')); }),
              fifo + ": cannot write file: Broken pipe");
    reader.join();
    signal(SIGPIPE, previous);

    // A file size limit, in a child process of its own, stops the write
    // half-way: the old file stays and the temporary one goes.
    const std::string target = at("out.csv");
    put(target, "old");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        const std::string error = errorOf([&] { writeOutputFile(target, std::string(1 << 20, 'x')); });
        _exit(error == target + ": cannot write file: File too large" ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    EXPECT_EQ(fileContents(target), "old");
    EXPECT_EQ(entries(), 2u);
}

}  // namespace
}  // namespace samplenet
