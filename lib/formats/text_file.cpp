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

bool isGzip(std::string_view bytes) { return bytes.size() >= 2 && bytes[0] == '\x1f' && bytes[1] == '\x8b'; }

ParseError tooLong(const std::string& path, std::size_t maxBytes) {
    return ParseError(path + ": expected at most " + std::to_string(maxBytes) + " bytes of text, found more");
}

constexpr std::size_t kChunk = 1 << 16;

// Fills a buffer of kChunk bytes with the next input and says how many; 0 at
// the end.
using Fill = std::function<std::size_t(char*)>;
using Sink = std::function<void(std::string_view)>;

}  // namespace

// The text of the gzip members `fill` supplies, one after another, into the
// caller's room a piece at a time.
class MemberInflater {
public:
    MemberInflater(Fill fill, std::string path) : fill(std::move(fill)), path(std::move(path)) {
        // 16 + window bits: a gzip header and trailer around the deflate data.
        if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
            throw ParseError(this->path + ": cannot read file: out of memory");
    }
    ~MemberInflater() { inflateEnd(&stream); }
    MemberInflater(const MemberInflater&) = delete;
    MemberInflater& operator=(const MemberInflater&) = delete;

    // Up to `room` bytes, fewer only at the end; 0 at the end.
    std::size_t read(char* into, std::size_t room) {
        stream.next_out = reinterpret_cast<Bytef*>(into);
        stream.avail_out = static_cast<uInt>(room);
        while (stream.avail_out > 0) {
            if (stream.avail_in == 0) {
                stream.avail_in = static_cast<uInt>(fill(input.get()));
                stream.next_in = reinterpret_cast<Bytef*>(input.get());
                if (stream.avail_in == 0) {
                    if (betweenMembers) break;
                    throw ParseError(path + ": cannot read file: unexpected end of file");
                }
            }
            if (betweenMembers) {
                if (stream.next_in[0] != 0x1f || (stream.avail_in > 1 && stream.next_in[1] != 0x8b))
                    throw ParseError(path + ": cannot read file: unexpected data after the compressed data");
                betweenMembers = false;
            }
            const int status = inflate(&stream, Z_NO_FLUSH);
            if (status == Z_STREAM_END) {
                betweenMembers = true;
                inflateReset(&stream);
            } else if (status != Z_OK && !(status == Z_BUF_ERROR && stream.avail_in == 0)) {
                // Z_BUF_ERROR with input left cannot happen: output room was there.
                throw ParseError(path + ": cannot read file: " + (stream.msg ? stream.msg : "corrupt compressed data"));
            }
        }
        return room - stream.avail_out;
    }

private:
    Fill fill;
    std::string path;
    z_stream stream{};
    std::unique_ptr<char[]> input = std::make_unique<char[]>(kChunk);
    bool betweenMembers = false;
};

namespace {

// Inflates the gzip members `fill` supplies, one after another, handing the
// text to `sink` a chunk at a time.
void inflateMembers(const Fill& fill, const Sink& sink, const std::string& path) {
    MemberInflater inflater(fill, path);
    const auto out = std::make_unique<char[]>(kChunk);
    while (const std::size_t count = inflater.read(out.get(), kChunk)) sink(std::string_view(out.get(), count));
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

TextFileReader::TextFileReader(const std::string& path, std::size_t maxBytes)
    : path(path), maxBytes(maxBytes), pending(std::make_unique<char[]>(kChunk)) {
    errno = 0;
    file.reset(std::fopen(path.c_str(), "rb"));
    if (!file) throw ParseError(path + ": cannot open file: " + std::strerror(errno ? errno : ENOMEM));
    // The bytes read to tell the formats apart are handed on first, so that
    // a pipe, which cannot be read twice, streams too.
    pendingEnd = readFile(pending.get(), kChunk);
    if (isGzip(std::string_view(pending.get(), pendingEnd))) {
        inflater = std::make_unique<MemberInflater>([this](char* into) { return readRaw(into, kChunk); }, path);
        return;
    }
    struct stat status {};
    if (fstat(fileno(file.get()), &status) == 0 && S_ISREG(status.st_mode) &&
        static_cast<std::size_t>(status.st_size) > maxBytes)
        throw tooLong(path, maxBytes);
}

TextFileReader::~TextFileReader() = default;

std::size_t TextFileReader::readFile(char* into, std::size_t room) {
    errno = 0;
    const std::size_t count = std::fread(into, 1, room, file.get());
    if (std::ferror(file.get())) throw ParseError(path + ": cannot read file: " + std::strerror(errno ? errno : EIO));
    return count;
}

std::size_t TextFileReader::readRaw(char* into, std::size_t room) {
    const std::size_t count = std::min(room, pendingEnd - pendingStart);
    std::memcpy(into, pending.get() + pendingStart, count);
    pendingStart += count;
    return count < room ? count + readFile(into + count, room - count) : count;
}

std::size_t TextFileReader::read(char* into, std::size_t room) {
    const std::size_t count = inflater ? inflater->read(into, room) : readRaw(into, room);
    if (count > maxBytes - delivered) throw tooLong(path, maxBytes);
    delivered += count;
    return count;
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

TextFileWriter::TextFileWriter(const std::string& path, bool compress) : path(path), file(path) {
    if (!compress) return;
    stream = std::make_unique<z_stream>();
    // 16 + window bits: a gzip header and trailer around the deflate data.
    if (deflateInit2(stream.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        stream.reset();
        throw FileError(path + ": cannot write file: out of memory", path, ENOMEM);
    }
    out = std::make_unique<char[]>(kChunk);
}

TextFileWriter::~TextFileWriter() {
    if (stream) deflateEnd(stream.get());
}

void TextFileWriter::write(std::string_view text) {
    if (!stream) return file.write(text);
    while (!text.empty()) {
        const std::size_t piece = std::min<std::size_t>(text.size(), 1 << 20);
        deflatePiece(text.substr(0, piece), Z_NO_FLUSH);
        text.remove_prefix(piece);
    }
}

void TextFileWriter::deflatePiece(std::string_view text, int flush) {
    stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream->avail_in = static_cast<uInt>(text.size());
    do {
        stream->next_out = reinterpret_cast<Bytef*>(out.get());
        stream->avail_out = static_cast<uInt>(kChunk);
        deflate(stream.get(), flush);  // cannot fail with room to write and a consistent stream
        file.write(std::string_view(out.get(), kChunk - stream->avail_out));
    } while (stream->avail_out == 0);
}

void TextFileWriter::commit() {
    if (stream) deflatePiece({}, Z_FINISH);
    file.commit();
}

void writeTextFile(const std::string& path, std::string_view text, bool compress) {
    TextFileWriter writer(path, compress);
    writer.write(text);
    writer.commit();
}

}  // namespace samplenet
