#include "lib/formats/text_file.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "lib/model/errors.h"

namespace samplenet {
namespace {

struct GzCloser {
    void operator()(gzFile file) const { gzclose(file); }
};
using GzHandle = std::unique_ptr<gzFile_s, GzCloser>;

// zlib reports system errors through errno and its own through gzerror.
std::string reason(gzFile file) {
    int code = Z_OK;
    const char* message = file ? gzerror(file, &code) : nullptr;
    if (code == Z_ERRNO || !message || !*message) return std::strerror(errno);
    return message;
}

}  // namespace

std::string readTextFile(const std::string& path) {
    errno = 0;
    GzHandle file(gzopen(path.c_str(), "rb"));
    if (!file) throw ParseError(path + ": cannot open file: " + std::strerror(errno ? errno : ENOMEM));
    std::string text;
    constexpr unsigned kChunk = 1 << 16;
    for (;;) {
        const std::size_t used = text.size();
        text.resize(used + kChunk);
        errno = 0;
        const int count = gzread(file.get(), text.data() + used, kChunk);
        if (count < 0) throw ParseError(path + ": cannot read file: " + reason(file.get()));
        text.resize(used + static_cast<std::size_t>(count));
        if (count == 0) return text;
    }
}

void writeTextFile(const std::string& path, std::string_view text, bool compress) {
    errno = 0;
    // "T" writes the bytes through uncompressed.
    GzHandle file(gzopen(path.c_str(), compress ? "wb" : "wbT"));
    if (!file) throw ParseError(path + ": cannot write file: " + std::strerror(errno ? errno : ENOMEM));
    while (!text.empty()) {
        const unsigned chunk = static_cast<unsigned>(std::min<std::size_t>(text.size(), 1 << 20));
        errno = 0;
        if (gzwrite(file.get(), text.data(), chunk) != static_cast<int>(chunk))
            throw ParseError(path + ": cannot write file: " + reason(file.get()));
        text.remove_prefix(chunk);
    }
    errno = 0;
    if (gzclose(file.release()) != Z_OK) throw ParseError(path + ": cannot write file: " + std::strerror(errno ? errno : EIO));
}

}  // namespace samplenet
