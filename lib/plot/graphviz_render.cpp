#include "lib/plot/graphviz_render.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

extern char** environ;

namespace samplenet {

namespace {

namespace fs = std::filesystem;

// A file under the temporary directory, removed when it goes out of scope.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& suffix) {
        std::string pattern = (fs::temp_directory_path() / "samplenet-XXXXXX").string() + suffix;
        const int fd = mkstemps(pattern.data(), static_cast<int>(suffix.size()));
        if (fd < 0) throw std::runtime_error("cannot create a temporary file in " + fs::temp_directory_path().string());
        close(fd);
        path = pattern;
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
    std::string path;
};

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::string findDotProgram() {
    const char* path = std::getenv("PATH");
    std::istringstream directories(path ? path : "");
    std::string directory;
    while (std::getline(directories, directory, ':')) {
        const fs::path candidate = fs::path(directory.empty() ? "." : directory) / "dot";
        if (access(candidate.c_str(), X_OK) == 0) return candidate.string();
    }
    throw std::runtime_error(
        "drawing needs Graphviz's dot program, which is not on PATH; install Graphviz "
        "(Debian and Ubuntu: apt-get install graphviz) or add its folder to PATH");
}

const char* formatFlag(PictureFormat format) {
    switch (format) {
        case PictureFormat::Svg: return "-Tsvg";
        case PictureFormat::Png: return "-Tpng";
        case PictureFormat::Pdf: return "-Tpdf";
    }
    return "-Tsvg";
}

// Runs the program with `arguments`, its error output going to `errorPath`;
// returns its exit status, or -1 when it did not exit normally.
int runProgram(const std::string& program, std::vector<std::string> arguments, const std::string& errorPath) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorPath.c_str(), O_WRONLY | O_TRUNC, 0);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return -1;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string firstLine(const std::string& text) {
    const std::string line = text.substr(0, text.find('\n'));
    return line.empty() ? "no message" : line;
}

}  // namespace

std::optional<PictureFormat> pictureFormatOfPath(std::string_view path) {
    const std::string extension = fs::path(path).extension().string();
    if (extension == ".svg") return PictureFormat::Svg;
    if (extension == ".png") return PictureFormat::Png;
    if (extension == ".pdf") return PictureFormat::Pdf;
    return std::nullopt;
}

std::string renderDot(const std::string& dot, PictureFormat format) {
    const std::string program = findDotProgram();
    TemporaryFile input(".dot");
    TemporaryFile output(".out");
    TemporaryFile errors(".err");
    std::ofstream(input.path, std::ios::binary) << dot;
    // PNG at twice the screen resolution stays sharp when zoomed.
    std::vector<std::string> arguments{program, formatFlag(format), "-o", output.path, input.path};
    if (format == PictureFormat::Png) arguments.insert(arguments.begin() + 1, "-Gdpi=144");
    const int status = runProgram(program, arguments, errors.path);
    if (status != 0)
        throw std::runtime_error(program + " failed (" +
                                 (status < 0 ? std::string("did not finish") : "exit code " + std::to_string(status)) +
                                 "): " + firstLine(contents(errors.path)));
    return contents(output.path);
}

}  // namespace samplenet
