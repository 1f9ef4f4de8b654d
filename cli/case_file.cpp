#include "cli/case_file.h"

#include <csv.h>

#include <fstream>
#include <memory>
#include <stdexcept>

namespace samplenet_cli {

namespace {

struct Reader {
    CaseFile file;
    std::vector<std::string> row;
    bool headerDone = false;

    static void field(void* text, std::size_t length, void* self) {
        auto& row = static_cast<Reader*>(self)->row;
        if (length == 0)
            row.emplace_back();
        else
            row.emplace_back(static_cast<const char*>(text), length);
    }
    static void rowEnd(int, void* self) {
        Reader& reader = *static_cast<Reader*>(self);
        if (!reader.headerDone) {
            reader.file.header = std::move(reader.row);
            reader.headerDone = true;
        } else {
            reader.file.rows.push_back(std::move(reader.row));
        }
        reader.row.clear();
    }
};

struct ParserDeleter {
    void operator()(csv_parser* parser) const {
        csv_free(parser);
        delete parser;
    }
};

}  // namespace

CaseFile readCaseFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error(path + ": cannot open the case file");
    std::unique_ptr<csv_parser, ParserDeleter> parser(new csv_parser);
    if (csv_init(parser.get(), CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
    Reader reader;
    char buffer[1 << 16];
    std::size_t offset = 0;
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
        const auto count = static_cast<std::size_t>(in.gcount());
        if (csv_parse(parser.get(), buffer, count, Reader::field, Reader::rowEnd, &reader) != count)
            throw std::runtime_error(path + ": not valid CSV within bytes " + std::to_string(offset) + " to " +
                                     std::to_string(offset + count) + ": " + csv_strerror(csv_error(parser.get())));
        offset += count;
    }
    if (csv_fini(parser.get(), Reader::field, Reader::rowEnd, &reader) != 0)
        throw std::runtime_error(path + ": not valid CSV at its end: " + csv_strerror(csv_error(parser.get())));
    if (!reader.headerDone) throw std::runtime_error(path + ": expected a header line of node names");
    return std::move(reader.file);
}

}  // namespace samplenet_cli
