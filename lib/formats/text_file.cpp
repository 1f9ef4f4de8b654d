#include "lib/formats/text_file.h"

#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "lib/model/errors.h"
#include "lib/output/output_file.h"

namespace samplenet {
namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

struct InflateEnd {
    void operator()(z_stream* stream) const { inflateEnd(stream); }
};

struct DeflateEnd {
    void operator()(z_stream* stream) const { deflateEnd(stream); }
};

bool isGzip(std::string_view bytes) { return bytes.size() >= 2 && bytes[0] == '\x1f' && bytes[1] == '\x8b'; }

ParseError tooLong(const std::string& path, std::size_t maxBytes) {
    return ParseError(path + ": expected at most " + std::to_string(maxBytes) + " bytes of text, found more");
}

constexpr std::size_t kChunk = 1 << 16;

// Fills a buffer of kChunk bytes with the next input and says how many; 0 at
// the end.
using Fill = std::function<std::size_t(char*)>;
using Sink = std::function<void(std::string_view)>;

// Inflates the gzip members `fill` supplies, one after another, handing the
// text to `sink` a chunk at a time.
void inflateMembers(const Fill& fill, const Sink& sink, const std::string& path) {
    z_stream stream{};
    // 16 + window bits: a gzip header and trailer around the deflate data.
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK) throw ParseError(path + ": cannot read file: out of memory");
    const std::unique_ptr<z_stream, InflateEnd> guard(&stream);
    const auto in = std::make_unique<char[]>(kChunk);
    const auto out = std::make_unique<char[]>(kChunk);
    bool betweenMembers = false;
    for (;;) {
        if (stream.avail_in == 0) {
            stream.avail_in = static_cast<uInt>(fill(in.get()));
            stream.next_in = reinterpret_cast<Bytef*>(in.get());
            if (stream.avail_in == 0) {
                if (betweenMembers) return;
                throw ParseError(path + ": cannot read file: unexpected end of file");
            }
        }
        if (betweenMembers) {
            if (stream.next_in[0] != 0x1f || (stream.avail_in > 1 && stream.next_in[1] != 0x8b))
                throw ParseError(path + ": cannot read file: unexpected data after the compressed data");
            betweenMembers = false;
        }
        stream.next_out = reinterpret_cast<Bytef*>(out.get());
        stream.avail_out = static_cast<uInt>(kChunk);
        const int status = inflate(&stream, Z_NO_FLUSH);
        sink(std::string_view(out.get(), kChunk - stream.avail_out));
        if (status == Z_STREAM_END) {
            betweenMembers = true;
            inflateReset(&stream);
        } else if (status != Z_OK && !(status == Z_BUF_ERROR && stream.avail_in == 0)) {
            // Z_BUF_ERROR with input left cannot happen: output room was there.
            throw ParseError(path + ": cannot read file: " + (stream.msg ? stream.msg : "corrupt compressed data"));
        }
    }
}

// Appends to `text` what fits within `maxBytes`.
Sink appendingWithin(std::string& text, std::size_t maxBytes, const std::string& path) {
    return [&text, maxBytes, &path](std::string_view piece) {
        if (piece.size() > maxBytes - text.size()) throw tooLong(path, maxBytes);
        text.append(piece);
    };
}

}  // namespace

std::string readTextFile(const std::string& path, std::size_t maxBytes) {
    errno = 0;
    const FileHandle file(std::fopen(path.c_str(), "rb"));
    if (!file) throw ParseError(path + ": cannot open file: " + std::strerror(errno ? errno : ENOMEM));
    const auto buffer = std::make_unique<char[]>(kChunk);
    const Fill fill = [&](char* into) {
        errno = 0;
        const std::size_t count = std::fread(into, 1, kChunk, file.get());
        if (std::ferror(file.get())) throw ParseError(path + ": cannot read file: " + std::strerror(errno ? errno : EIO));
        return count;
    };
    std::string text;
    const auto readAll = [&] {
        const Sink append = appendingWithin(text, maxBytes, path);
        while (const std::size_t count = fill(buffer.get())) append(std::string_view(buffer.get(), count));
    };
    struct stat status {};
    if (fstat(fileno(file.get()), &status) != 0 || !S_ISREG(status.st_mode)) {
        // What cannot be read twice is kept whole, within the limit.
        readAll();
        return decompressed(text, path, maxBytes);
    }
    // A regular file is measured before its text is kept, so that one above
    // the limit is refused in little memory.
    const std::size_t magic = std::fread(buffer.get(), 1, 2, file.get());
    std::rewind(file.get());
    if (!isGzip(std::string_view(buffer.get(), magic))) {
        if (static_cast<std::size_t>(status.st_size) > maxBytes) throw tooLong(path, maxBytes);
        text.reserve(static_cast<std::size_t>(status.st_size));
        readAll();
        return text;
    }
    std::size_t size = 0;
    inflateMembers(
        fill,
        [&](std::string_view piece) {
            size += piece.size();
            if (size > maxBytes) throw tooLong(path, maxBytes);
        },
        path);
    std::rewind(file.get());
    text.reserve(size);
    inflateMembers(fill, appendingWithin(text, maxBytes, path), path);
    return text;
}

std::string decompressed(std::string_view bytes, const std::string& path, std::size_t maxBytes) {
    if (!isGzip(bytes)) {
        if (bytes.size() > maxBytes) throw tooLong(path, maxBytes);
        return std::string(bytes);
    }
    std::string text;
    inflateMembers(
        [&bytes](char* buffer) {
            const std::size_t count = std::min(bytes.size(), kChunk);
            std::memcpy(buffer, bytes.data(), count);
            bytes.remove_prefix(count);
            return count;
        },
        appendingWithin(text, maxBytes, path), path);
    return text;
}

void writeTextFile(const std::string& path, std::string_view text, bool compress) {
    OutputFile file(path);
    if (!compress) {
        file.write(text);
        return file.commit();
    }
    z_stream stream{};
    // 16 + window bits: a gzip header and trailer around the deflate data.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw FileError(path + ": cannot write file: out of memory", path, ENOMEM);
    const std::unique_ptr<z_stream, DeflateEnd> guard(&stream);
    const auto out = std::make_unique<char[]>(kChunk);
    int flush = Z_NO_FLUSH;
    while (flush != Z_FINISH) {
        const std::size_t piece = std::min<std::size_t>(text.size(), 1 << 20);
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        stream.avail_in = static_cast<uInt>(piece);
        text.remove_prefix(piece);
        flush = text.empty() ? Z_FINISH : Z_NO_FLUSH;
        do {
            stream.next_out = reinterpret_cast<Bytef*>(out.get());
            stream.avail_out = static_cast<uInt>(kChunk);
            deflate(&stream, flush);  // cannot fail with room to write and a consistent stream
            file.write(std::string_view(out.get(), kChunk - stream.avail_out));
        } while (stream.avail_out == 0);
    }
    file.commit();
}

}  // namespace samplenet
