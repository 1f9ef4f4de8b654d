#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lib/model/network.h"

namespace samplenet {

// Marginals of a UAI MAR file: "MAR", the variable count, then per variable
// its state count and that many probabilities, all separated by white space
// (line breaks anywhere). By variable in the file's order. Throws ParseError
// "path:line: expected ..., found ..." for anything else, a missing number
// at the end included.
std::vector<std::vector<double>> readReferenceMarginals(std::string_view text, const std::string& path);
std::vector<std::vector<double>> readReferenceMarginals(const std::string& path);

// The marginals by variable of a network read from a UAI file, whose
// variable i is named v{i}. Throws ParseError naming `path` when the file
// has another variable count, or a variable another state count, than the
// network.
std::vector<std::vector<double>> marginalsOfNetwork(const Network& network,
                                                    const std::vector<std::vector<double>>& marginals,
                                                    const std::string& path);

}  // namespace samplenet
