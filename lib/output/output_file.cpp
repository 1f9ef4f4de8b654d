#include "lib/output/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "lib/model/errors.h"

namespace samplenet {
namespace {

// As many links as the system follows in one path.
constexpr int kMaxLinks = 40;

// Follows the symbolic links at the end of `path` to what they name, which
// may be missing (a dangling link names the file to create). Returns 0, or
// the errno that stopped it.
int followLinks(std::string& path) {
    for (int links = 0;; ++links) {
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return 0;
        if (links == kMaxLinks) return ELOOP;
        std::error_code error;
        const std::filesystem::path target = std::filesystem::read_symlink(path, error);
        if (error) return error.value();
        path = target.is_absolute() ? target.string() : (std::filesystem::path(path).parent_path() / target).string();
    }
}

// A new file beside `target`, created with the process's usual mode (0666
// less the umask). Returns its descriptor, or -1 with errno set.
int createBeside(const std::string& target, std::string& created) {
    static std::atomic<unsigned> serial{0};
    const std::filesystem::path where(target);
    for (int attempt = 0;; ++attempt) {
        created = (where.parent_path() / ("." + where.filename().string() + "." + std::to_string(getpid()) + "." +
                                          std::to_string(serial++)))
                      .string();
        const int fd = open(created.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST || attempt == 100) return fd;
    }
}

std::string modeText(mode_t mode) {
    char text[8];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
    if (path_.empty()) {
        file_ = stdout;
        return;
    }
    std::string target = path_;
    if (const int error = followLinks(target)) fail(error);
    struct stat existing {};
    const bool exists = lstat(target.c_str(), &existing) == 0;
    if (!exists && errno != ENOENT) fail(errno);
    if (exists) {
        if (S_ISDIR(existing.st_mode)) fail(EISDIR);
        // Root may write anything; a file nobody may write was made so on purpose.
        if ((existing.st_mode & 0222) == 0)
            fail(EACCES, "the file is read-only (mode " + modeText(existing.st_mode) + ")");
        if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) fail(errno);
    }
    int fd = -1;
    if (exists && !S_ISREG(existing.st_mode)) {
        fd = open(target.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY);
        if (fd < 0) fail(errno);
    } else {
        fd = createBeside(target, temporaryPath_);
        if (fd < 0) {
            temporaryPath_.clear();
            fail(errno);
        }
        renameTo_ = target;
        if (exists) {
            // Root may give the file back to its owner; others keep theirs.
            (void)!fchown(fd, existing.st_uid, existing.st_gid);
            fchmod(fd, existing.st_mode & 07777);
        }
    }
    file_ = fdopen(fd, "wb");
    if (!file_) {
        const int error = errno;
        close(fd);
        abandon();
        fail(error);
    }
}

OutputFile::~OutputFile() { abandon(); }

void OutputFile::fail(int error, const std::string& reason) {
    const std::string because = reason.empty() ? std::strerror(error) : reason;
    if (path_.empty()) throw FileError("cannot write standard output: " + because, path_, error);
    throw FileError(path_ + ": cannot write file: " + because, path_, error);
}

void OutputFile::write(std::string_view bytes) {
    errno = 0;
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail(errno ? errno : EIO);
}

void OutputFile::commit() {
    errno = 0;
    if (std::fflush(file_) != 0 || std::ferror(file_)) fail(errno ? errno : EIO);
    if (file_ == stdout) return;
    errno = 0;
    if (std::fclose(std::exchange(file_, nullptr)) != 0) fail(errno ? errno : EIO);
    if (temporaryPath_.empty()) return;
    if (std::rename(temporaryPath_.c_str(), renameTo_.c_str()) != 0) fail(errno);
    temporaryPath_.clear();
}

void OutputFile::abandon() {
    if (file_ && file_ != stdout) std::fclose(file_);
    file_ = nullptr;
    if (temporaryPath_.empty()) return;
    std::remove(temporaryPath_.c_str());
    temporaryPath_.clear();
}

void writeOutputFile(const std::string& path, std::string_view bytes) {
    OutputFile file(path);
    file.write(bytes);
    file.commit();
}

}  // namespace samplenet
