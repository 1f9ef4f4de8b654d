#include "cli/case_file.h"

#include <csv.h>

#include <stdexcept>

#include "lib/formats/network_text.h"

namespace samplenet_cli {

namespace {

constexpr std::size_t kBlockBytes = 1 << 16;

}  // namespace

void CaseReader::ParserDeleter::operator()(csv_parser* parser) const {
    csv_free(parser);
    delete parser;
}

void CaseReader::onField(void* text, std::size_t length, void* self) {
    auto& row = static_cast<CaseReader*>(self)->row_;
    if (length == 0)
        row.emplace_back();
    else
        row.emplace_back(static_cast<const char*>(text), length);
}

void CaseReader::onRowEnd(int, void* self) {
    CaseReader& reader = *static_cast<CaseReader*>(self);
    if (!reader.headerDone_) {
        reader.header_ = std::move(reader.row_);
        reader.headerDone_ = true;
    } else {
        reader.ready_.push_back(std::move(reader.row_));
    }
    reader.row_.clear();
}

CaseReader::CaseReader(std::string path) : path_(std::move(path)), in_(path_, std::ios::binary) {
    if (!in_) throw std::runtime_error(path_ + ": cannot open the case file");
    skipByteOrderMark();
    auto parser = std::make_unique<csv_parser>();
    if (csv_init(parser.get(), CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
    parser_.reset(parser.release());
    while (!headerDone_ && parseBlock()) {
    }
    if (!headerDone_) throw std::runtime_error(path_ + ": expected a header line of node names");
}

CaseReader::~CaseReader() = default;

void CaseReader::skipByteOrderMark() {
    char start[samplenet::kByteOrderMark.size()] = {};
    in_.read(start, sizeof start);
    if (std::string_view(start, static_cast<std::size_t>(in_.gcount())) == samplenet::kByteOrderMark) {
        offset_ = sizeof start;
        return;
    }
    in_.clear();
    in_.seekg(0);
}

bool CaseReader::parseBlock() {
    if (finished_) return false;
    char buffer[kBlockBytes];
    in_.read(buffer, sizeof buffer);
    const auto count = static_cast<std::size_t>(in_.gcount());
    if (count > 0) {
        if (csv_parse(parser_.get(), buffer, count, onField, onRowEnd, this) != count)
            throw std::runtime_error(path_ + ": not valid CSV within bytes " + std::to_string(offset_) + " to " +
                                     std::to_string(offset_ + count) + ": " + csv_strerror(csv_error(parser_.get())));
        offset_ += count;
        return true;
    }
    if (in_.bad()) throw std::runtime_error(path_ + ": cannot read the case file");
    finished_ = true;
    if (csv_fini(parser_.get(), onField, onRowEnd, this) != 0)
        throw std::runtime_error(path_ + ": not valid CSV at its end: " + csv_strerror(csv_error(parser_.get())));
    return true;
}

bool CaseReader::next(std::vector<std::string>& row) {
    while (ready_.empty())
        if (!parseBlock()) return false;
    row = std::move(ready_.front());
    ready_.pop_front();
    return true;
}

std::size_t CaseReader::countRows(const std::string& path) {
    CaseReader reader(path);
    std::size_t rows = 0;
    for (std::vector<std::string> row; reader.next(row);) ++rows;
    return rows;
}

}  // namespace samplenet_cli
