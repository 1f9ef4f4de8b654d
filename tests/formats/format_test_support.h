#pragma once

#include <functional>
#include <string>
#include <vector>

#include "lib/model/network.h"

namespace samplenet::testing_formats {

void writeFile(const std::string& path, const std::string& contents);

// The message of the ParseError, ModelError or EvidenceError that `action`
// throws, or "(no error)".
std::string errorOf(const std::function<void()>& action);

// A bad input and the exact message reading it must give.
struct ErrorCase {
    std::string text;
    std::string message;
};
void expectErrors(const std::vector<ErrorCase>& cases, const std::function<void(const std::string&)>& read);

// Same variables, states, parents, bit-identical tables and properties;
// names are compared only when `compareNames` (UAI regenerates them).
void expectSameNetwork(const Network& expected, const Network& actual, bool compareNames = true);

}  // namespace samplenet::testing_formats
