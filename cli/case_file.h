#pragma once

#include <cstddef>
#include <deque>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

struct csv_parser;

namespace samplenet_cli {

// Reads a CSV file of evidence cases (RFC 4180) a row at a time: a header
// of node names, then one row per case. Rows are kept as they are, whatever
// their cell count, so that a short or long row is reported as that case's
// fault. Memory holds one block of the file and the rows it completes.
class CaseReader {
public:
    // Opens the file and reads its header. Throws std::runtime_error
    // "PATH: ..." when the file cannot be read, is not valid CSV, or has no
    // header; next() throws the same way for what comes later.
    explicit CaseReader(std::string path);
    ~CaseReader();

    const std::vector<std::string>& header() const { return header_; }
    // The next row into `row`; false after the last.
    bool next(std::vector<std::string>& row);
    // Rows of the whole file, counted by reading it through once more.
    static std::size_t countRows(const std::string& path);

private:
    struct ParserDeleter {
        void operator()(csv_parser* parser) const;
    };
    static void onField(void* text, std::size_t length, void* self);
    static void onRowEnd(int, void* self);
    // Starts after a UTF-8 byte-order mark, if the file has one.
    void skipByteOrderMark();
    // Parses the next block; false at the end of the file.
    bool parseBlock();

    std::string path_;
    std::ifstream in_;
    std::unique_ptr<csv_parser, ParserDeleter> parser_;
    std::size_t offset_ = 0;  // bytes parsed so far
    bool finished_ = false;
    bool headerDone_ = false;
    std::vector<std::string> header_;
    std::vector<std::string> row_;
    std::deque<std::vector<std::string>> ready_;
};

}  // namespace samplenet_cli
