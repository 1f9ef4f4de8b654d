#include "lib/formats/text_file.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <cstring>
#include <memory>

#include "lib/model/errors.h"

namespace samplenet {
namespace {

struct GzCloser {
    void operator()(gzFile file) const { gzclose(file); }
};
using GzHandle = std::unique_ptr<gzFile_s, GzCloser>;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

struct InflateEnd {
    void operator()(z_stream* stream) const { inflateEnd(stream); }
};

bool isGzip(std::string_view bytes) { return bytes.size() >= 2 && bytes[0] == '\x1f' && bytes[1] == '\x8b'; }

ParseError tooLong(const std::string& path, std::size_t maxBytes) {
    return ParseError(path + ": expected at most " + std::to_string(maxBytes) + " bytes of text, found more");
}

constexpr std::size_t kChunk = 1 << 16;

// Appends room for one more chunk to `text` and returns where it starts;
// refuses to grow a text that is already above the limit.
char* appendChunk(std::string& text, std::size_t maxBytes, const std::string& path) {
    const std::size_t used = text.size();
    if (used > maxBytes) throw tooLong(path, maxBytes);
    text.resize(used + kChunk);
    return text.data() + used;
}

// zlib reports system errors through errno and its own through gzerror.
std::string reason(gzFile file) {
    int code = Z_OK;
    const char* message = file ? gzerror(file, &code) : nullptr;
    if (code == Z_ERRNO || !message || !*message) return std::strerror(errno);
    return message;
}

}  // namespace

std::string readTextFile(const std::string& path, std::size_t maxBytes) {
    errno = 0;
    const FileHandle file(std::fopen(path.c_str(), "rb"));
    if (!file) throw ParseError(path + ": cannot open file: " + std::strerror(errno ? errno : ENOMEM));
    std::string bytes;
    for (;;) {
        char* chunk = appendChunk(bytes, maxBytes, path);
        errno = 0;
        const std::size_t count = std::fread(chunk, 1, kChunk, file.get());
        bytes.resize(bytes.size() - kChunk + count);
        if (std::ferror(file.get())) throw ParseError(path + ": cannot read file: " + std::strerror(errno ? errno : EIO));
        if (count == 0) break;
    }
    return decompressed(bytes, path, maxBytes);
}

std::string decompressed(std::string_view bytes, const std::string& path, std::size_t maxBytes) {
    if (!isGzip(bytes)) {
        if (bytes.size() > maxBytes) throw tooLong(path, maxBytes);
        return std::string(bytes);
    }
    if (bytes.size() > std::numeric_limits<uInt>::max()) throw tooLong(path, maxBytes);
    z_stream stream{};
    // 16 + window bits: a gzip header and trailer around the deflate data.
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK) throw ParseError(path + ": cannot read file: out of memory");
    const std::unique_ptr<z_stream, InflateEnd> guard(&stream);
    // zlib never writes through next_in; its type lacks the const.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    std::string text;
    for (;;) {
        stream.next_out = reinterpret_cast<Bytef*>(appendChunk(text, maxBytes, path));
        stream.avail_out = static_cast<uInt>(kChunk);
        const int status = inflate(&stream, Z_NO_FLUSH);
        // Shrinking by erase: GCC 12 cannot tell that resize never grows here
        // and warns of an overflowing fill.
        text.erase(text.size() - stream.avail_out);
        if (status == Z_STREAM_END) {
            const std::string_view rest(reinterpret_cast<const char*>(stream.next_in), stream.avail_in);
            if (rest.empty()) break;
            if (!isGzip(rest)) throw ParseError(path + ": cannot read file: unexpected data after the compressed data");
            inflateReset(&stream);
        } else if (status == Z_BUF_ERROR) {
            // Output room was there, so the input ran out.
            throw ParseError(path + ": cannot read file: unexpected end of file");
        } else if (status != Z_OK) {
            throw ParseError(path + ": cannot read file: " + (stream.msg ? stream.msg : "corrupt compressed data"));
        }
    }
    if (text.size() > maxBytes) throw tooLong(path, maxBytes);
    return text;
}

void writeTextFile(const std::string& path, std::string_view text, bool compress) {
    const auto failed = [&path](int error, const std::string& reason) {
        return FileError(path + ": cannot write file: " + reason, path, error);
    };
    errno = 0;
    // "T" writes the bytes through uncompressed.
    GzHandle file(gzopen(path.c_str(), compress ? "wb" : "wbT"));
    if (!file) throw failed(errno ? errno : ENOMEM, std::strerror(errno ? errno : ENOMEM));
    while (!text.empty()) {
        const unsigned chunk = static_cast<unsigned>(std::min<std::size_t>(text.size(), 1 << 20));
        errno = 0;
        if (gzwrite(file.get(), text.data(), chunk) != static_cast<int>(chunk))
            throw failed(errno ? errno : EIO, reason(file.get()));
        text.remove_prefix(chunk);
    }
    errno = 0;
    if (gzclose(file.release()) != Z_OK) throw failed(errno ? errno : EIO, std::strerror(errno ? errno : EIO));
}

}  // namespace samplenet
