#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace samplenet_cli {

// Where `samplenet batch` writes: standard output, or a file that appears
// whole or not at all. The file is written under a temporary name in its
// own directory and renamed over PATH by commit(); until then, and when
// commit() is never reached, PATH is left as it was.
class BatchOutput {
public:
    // Empty path: standard output. Creates the temporary file at once, so
    // that an unwritable PATH fails before any work; throws
    // std::runtime_error "PATH: cannot write the output file: reason".
    explicit BatchOutput(std::string path);
    ~BatchOutput();
    BatchOutput(const BatchOutput&) = delete;
    BatchOutput& operator=(const BatchOutput&) = delete;

    // Every write is checked; throws as the constructor does.
    void write(std::string_view text);
    // Flushes and closes; for a file, renames it to PATH.
    void commit();
    // Removes the temporary file (the destructor does too).
    void abandon();

private:
    [[noreturn]] void fail(int error) const;

    std::string path_;
    std::string temporaryPath_;
    std::FILE* file_ = nullptr;
};

}  // namespace samplenet_cli
