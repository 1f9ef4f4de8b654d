#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace samplenet {

// Where a command or writer puts a file, so that what was at the path is
// never clobbered by mistake and no failed write goes unnoticed.
//
// Over a regular file or a missing path the bytes go to a hidden temporary
// file beside it (".NAME.XXXXXX"), renamed into place by commit(): until
// then, and when a write fails, the old file stays as it was. The new file
// keeps the old one's mode (and owner, where the process may set it).
// Anything else that exists (a character device, a FIFO, a socket) is
// opened and written through: renaming over it would replace the device or
// pipe itself. A symbolic link is followed and the same rule applied to what
// it names, which the link keeps pointing at. An existing file without any
// write permission bit is refused, also for root, which the system would let
// write. An empty path means standard output.
//
// Every failure (opening, refusing, a write, the flush, closing, the
// rename) throws FileError "PATH: cannot write file: reason".
class OutputFile {
public:
    explicit OutputFile(std::string path);
    // Removes the temporary file unless commit() renamed it.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::string_view bytes);
    // Flushes and closes, and renames the temporary file into place.
    // Standard output is flushed and checked, and left open.
    void commit();
    // Closes and removes the temporary file; commit() is not reached then.
    void abandon();

private:
    [[noreturn]] void fail(int error, const std::string& reason = "");

    std::string path_;
    std::string temporaryPath_;  // empty when writing through
    std::string renameTo_;       // the path the temporary file replaces
    std::FILE* file_ = nullptr;
};

// The whole of `bytes` into `path`, as OutputFile writes.
void writeOutputFile(const std::string& path, std::string_view bytes);

}  // namespace samplenet
