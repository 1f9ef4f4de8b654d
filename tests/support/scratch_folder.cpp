#include "tests/support/scratch_folder.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace testing_support {

namespace fs = std::filesystem;

namespace {

class ProcessFolder {
public:
    ProcessFolder() : owner_(::getpid()) {
        std::string pattern = (fs::temp_directory_path() / "samplenet-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), "cannot make a scratch folder " + pattern);
        path_ = pattern;
    }
    ~ProcessFolder() {
        if (::getpid() != owner_) return;
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    const fs::path& path() const { return path_; }

private:
    pid_t owner_;
    fs::path path_;
};

}  // namespace

const fs::path& processScratchFolder() {
    static const ProcessFolder folder;
    return folder.path();
}

std::string scratchPath(const std::string& name) {
    static std::atomic<int> counter{0};
    return (processScratchFolder() / (std::to_string(counter++) + "-" + name)).string();
}

std::string fileContents(const fs::path& path) {
    std::ostringstream contents;
    contents << std::ifstream(path, std::ios::binary).rdbuf();
    return contents.str();
}

ScratchFolder::ScratchFolder(const std::string& name) : path_(scratchPath(name)) { fs::create_directory(path_); }

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

}  // namespace testing_support
