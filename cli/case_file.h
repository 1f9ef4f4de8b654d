#pragma once

#include <string>
#include <vector>

namespace samplenet_cli {

// A CSV file of evidence cases (RFC 4180): a header of node names, then one
// row per case. Rows are kept as they are, whatever their cell count, so
// that a short or long row is reported as that case's fault.
struct CaseFile {
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> rows;
};

// Throws std::runtime_error "PATH: ..." when the file cannot be read, is not
// valid CSV, or has no header.
CaseFile readCaseFile(const std::string& path);

}  // namespace samplenet_cli
