#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "lib/formats/read_limits.h"
#include "lib/output/output_file.h"

namespace samplenet {

// Whole contents of a file, gunzipped if it is gzip-compressed (plain files
// are read as they are). Throws ParseError "path: cannot open file: reason",
// "path: cannot read file: reason", or "path: expected at most N bytes ..."
// for a text longer than `maxBytes`.
std::string readTextFile(const std::string& path, std::size_t maxBytes = ReadLimits{}.maxTextBytes);

class MemberInflater;

// The same text as readTextFile's, a piece at a time, so that it is never
// held whole; the same errors, a text above `maxBytes` refused as soon as
// that much has been read (a plain regular file before any is read).
class TextFileReader {
public:
    TextFileReader(const std::string& path, std::size_t maxBytes);
    ~TextFileReader();
    TextFileReader(const TextFileReader&) = delete;
    TextFileReader& operator=(const TextFileReader&) = delete;

    // Fills `into` with up to `room` bytes (fewer only at the end) and says
    // how many; 0 at the end.
    std::size_t read(char* into, std::size_t room);

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::size_t readFile(char* into, std::size_t room);
    // The file's bytes as they are, the ones read first included.
    std::size_t readRaw(char* into, std::size_t room);

    std::string path;
    std::size_t maxBytes;
    std::size_t delivered = 0;
    std::unique_ptr<std::FILE, Closer> file;
    std::unique_ptr<char[]> pending;
    std::size_t pendingStart = 0;
    std::size_t pendingEnd = 0;
    std::unique_ptr<MemberInflater> inflater;  // for a gzip-compressed file
};

// `bytes` gunzipped when they start with the gzip magic (members one after
// another are joined), otherwise as they are; errors as readTextFile's,
// labelled with `path`.
std::string decompressed(std::string_view bytes, const std::string& path, std::size_t maxBytes);

// A text file written a piece at a time, gzip-compressed when `compress`, as
// OutputFile writes: a regular file is replaced whole at commit() or left as
// it was. Throws FileError "path: cannot write file: reason".
class TextFileWriter {
public:
    TextFileWriter(const std::string& path, bool compress);
    ~TextFileWriter();
    TextFileWriter(const TextFileWriter&) = delete;
    TextFileWriter& operator=(const TextFileWriter&) = delete;

    void write(std::string_view text);
    void commit();

private:
    void deflatePiece(std::string_view text, int flush);

    std::string path;
    OutputFile file;
    std::unique_ptr<z_stream> stream;  // none when not compressing
    std::unique_ptr<char[]> out;
};

// The whole of `text`, as a TextFileWriter writes it.
void writeTextFile(const std::string& path, std::string_view text, bool compress);

}  // namespace samplenet
