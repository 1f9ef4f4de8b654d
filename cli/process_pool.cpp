#include "cli/process_pool.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace samplenet_cli {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Each result as its length, then its bytes.
bool writeResult(std::FILE* out, const std::string& result) {
    const std::size_t length = result.size();
    return std::fwrite(&length, sizeof length, 1, out) == 1 &&
           std::fwrite(result.data(), 1, length, out) == length;
}

std::string readResult(std::FILE* in) {
    std::size_t length = 0;
    if (std::fread(&length, sizeof length, 1, in) != 1) throw std::runtime_error("a worker process left no result");
    std::string result(length, '\0');
    if (std::fread(result.data(), 1, length, in) != length)
        throw std::runtime_error("a worker process left a cut result");
    return result;
}

// Runs in the child: never returns, and never flushes the parent's buffers.
[[noreturn]] void childRun(std::FILE* out, std::size_t first, std::size_t end,
                           const std::function<std::string(std::size_t)>& work) {
    int status = 0;
    try {
        for (std::size_t i = first; i < end && status == 0; ++i)
            if (!writeResult(out, work(i))) status = 1;
        if (std::fflush(out) != 0) status = 1;
    } catch (...) {
        status = 1;
    }
    _exit(status);
}

}  // namespace

std::vector<std::string> runInProcesses(std::size_t count, int jobs,
                                        const std::function<std::string(std::size_t)>& work) {
    std::vector<std::string> results;
    const std::size_t processes = std::min<std::size_t>(std::max(jobs, 1), count);
    if (processes <= 1) {
        for (std::size_t i = 0; i < count; ++i) results.push_back(work(i));
        return results;
    }
    std::fflush(nullptr);
    std::vector<File> files;
    std::vector<pid_t> children;
    std::string failure;
    for (std::size_t k = 0; k < processes; ++k) {
        File file(std::tmpfile());
        if (!file) {
            failure = std::string("cannot create a temporary file: ") + std::strerror(errno);
            break;
        }
        const std::size_t first = count * k / processes, end = count * (k + 1) / processes;
        const pid_t child = fork();
        if (child < 0) {
            failure = std::string("cannot start a worker process: ") + std::strerror(errno);
            break;
        }
        if (child == 0) childRun(file.get(), first, end, work);
        children.push_back(child);
        files.push_back(std::move(file));
    }
    for (pid_t child : children) {
        int status = 0;
        if (waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
            if (failure.empty()) failure = "a worker process failed";
    }
    if (!failure.empty()) throw std::runtime_error(failure);
    for (std::size_t k = 0; k < processes; ++k) {
        std::rewind(files[k].get());
        const std::size_t first = count * k / processes, end = count * (k + 1) / processes;
        for (std::size_t i = first; i < end; ++i) results.push_back(readResult(files[k].get()));
    }
    return results;
}

}  // namespace samplenet_cli
