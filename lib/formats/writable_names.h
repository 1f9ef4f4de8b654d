#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "lib/model/network.h"

namespace samplenet {

// What keeps a format from holding a name, or "" when it can hold it.
using NameProblem = std::function<std::string(std::string_view name)>;

// Throws ModelError for the first name (the network's, a variable's or a
// state's) that `problem` flags, naming it and the format, and suggesting
// `alternative` (another format that can hold it). Writers call it before
// writing anything.
void refuseUnwritableNames(const Network& network, std::string_view format, std::string_view alternative,
                           const NameProblem& problem);

// BIF and NET strings end at the next '"' and know no escape.
std::string doubleQuoteProblem(std::string_view name);

}  // namespace samplenet
