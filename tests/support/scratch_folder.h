#pragma once

#include <filesystem>
#include <string>

namespace testing_support {

// The test process's own folder under the temporary directory (TMPDIR when
// set), made on first use. It is removed, with everything in it, when the
// process that made it exits; a forked child leaves it alone.
const std::filesystem::path& processScratchFolder();

// A path inside that folder that no other call returns. It ends in `name`,
// so an extension the code under test looks at is kept.
std::string scratchPath(const std::string& name);

// The whole contents of a file ("" when it cannot be read).
std::string fileContents(const std::filesystem::path& path);

// A fresh, empty folder inside processScratchFolder(), removed with
// everything in it when this goes out of scope.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::string& name = "folder");
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // The path of `name` inside the folder.
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

}  // namespace testing_support
