#include "lib/formats/formats.h"

#include <algorithm>
#include <cctype>
#include <limits>

#include "lib/formats/bif.h"
#include "lib/formats/net.h"
#include "lib/formats/text_file.h"
#include "lib/formats/uai.h"
#include "lib/formats/xmlbif.h"
#include "lib/model/errors.h"

namespace samplenet {
namespace {

struct FormatEntry {
    std::string_view extension;
    FileFormat format;
};

constexpr FormatEntry kExtensions[] = {
    {".bif", FileFormat::Bif}, {".xml", FileFormat::XmlBif}, {".xmlbif", FileFormat::XmlBif},
    {".net", FileFormat::Net}, {".uai", FileFormat::Uai},
};

constexpr std::string_view kGzip = ".gz";

bool endsWithIgnoringCase(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() &&
           std::equal(suffix.begin(), suffix.end(), text.end() - static_cast<std::ptrdiff_t>(suffix.size()),
                      [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b)); });
}

bool isCompressed(std::string_view path) { return endsWithIgnoringCase(path, kGzip); }

FileFormat requireFormat(const std::string& path) {
    const auto format = formatOfPath(path);
    if (!format) throw ParseError(path + ": unknown file extension, expected .bif, .xml, .xmlbif, .net or .uai, optionally followed by .gz");
    return *format;
}

}  // namespace

std::optional<FileFormat> formatOfPath(const std::string& path) {
    std::string_view stem = path;
    if (isCompressed(stem)) stem.remove_suffix(kGzip.size());
    for (const FormatEntry& entry : kExtensions)
        if (endsWithIgnoringCase(stem, entry.extension)) return entry.format;
    return std::nullopt;
}

Network readNetwork(const std::string& path, const ReadLimits& limits) {
    const FileFormat format = requireFormat(path);
    if (format == FileFormat::XmlBif) return readXmlBif(readTextFile(path, limits.maxTextBytes), path, limits);
    // The other formats are read without holding their text, so its length
    // is not limited (its longest token is).
    TextFileReader file(path, std::numeric_limits<std::size_t>::max());
    TextPull pull = [&file](char* into, std::size_t room) { return file.read(into, room); };
    switch (format) {
        case FileFormat::Bif: return readBif(std::move(pull), path, limits);
        case FileFormat::Net: return readNet(std::move(pull), path, limits);
        case FileFormat::Uai: return readUai(std::move(pull), path, limits);
        case FileFormat::XmlBif: break;
    }
    throw ParseError(path + ": unsupported format");
}

void writeNetwork(const Network& network, const std::string& path) {
    const FileFormat format = requireFormat(path);
    // Writers walk the tables by the declared shape; a malformed network
    // must be refused here rather than read out of bounds. Only a network
    // that validating would change or refuse is copied to check it.
    if (!isValidAsIs(network)) {
        Network checked = network;
        checked.reindex();
        validate(checked);
    }
    if (format == FileFormat::Uai) {
        // The format large generated networks are written in: its text goes
        // out a piece at a time instead of being held whole.
        TextFileWriter file(path, isCompressed(path));
        writeUaiPieces(network, [&file](std::string_view piece) { file.write(piece); });
        return file.commit();
    }
    std::string text;
    switch (format) {
        case FileFormat::Bif: text = writeBif(network); break;
        case FileFormat::XmlBif: text = writeXmlBif(network); break;
        case FileFormat::Net: text = writeNet(network); break;
        case FileFormat::Uai: break;
    }
    writeTextFile(path, text, isCompressed(path));
}

Evidence readUaiEvidence(const Network& network, const std::string& path) {
    return readUaiEvidence(network, readTextFile(path), path);
}

}  // namespace samplenet
