#include "cli/batch_output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>
#include <vector>

namespace samplenet_cli {

BatchOutput::BatchOutput(std::string path) : path_(std::move(path)) {
    if (path_.empty()) {
        file_ = stdout;
        return;
    }
    std::error_code error;
    if (std::filesystem::is_directory(path_, error)) fail(EISDIR);
    const std::filesystem::path target(path_);
    const std::filesystem::path directory = target.has_parent_path() ? target.parent_path() : ".";
    std::string pattern = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = mkstemp(name.data());
    if (fd < 0) fail(errno);
    temporaryPath_ = name.data();
    // mkstemp makes the file private; the output gets a new file's usual mode.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    file_ = fdopen(fd, "wb");
    if (!file_) {
        const int reason = errno;
        close(fd);
        abandon();
        fail(reason);
    }
}

BatchOutput::~BatchOutput() { abandon(); }

void BatchOutput::fail(int error) const {
    throw std::runtime_error((path_.empty() ? std::string("standard output") : path_) +
                             ": cannot write the output file: " + std::strerror(error ? error : EIO));
}

void BatchOutput::write(std::string_view text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) fail(errno);
}

void BatchOutput::commit() {
    errno = 0;
    if (std::fflush(file_) != 0) fail(errno);
    if (temporaryPath_.empty()) return;
    const int closed = std::fclose(std::exchange(file_, nullptr));
    if (closed != 0) fail(errno);
    if (std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) fail(errno);
    temporaryPath_.clear();
}

void BatchOutput::abandon() {
    if (temporaryPath_.empty()) return;
    if (file_) std::fclose(std::exchange(file_, nullptr));
    std::remove(temporaryPath_.c_str());
    temporaryPath_.clear();
}

}  // namespace samplenet_cli
