#pragma once

#include <stdexcept>
#include <string>

namespace samplenet {

// A network that cannot be used as given (structure or tables).
class ModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A file that cannot be read or does not follow its format; the message
// already carries "file:line: what was expected".
class ParseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Evidence that names an unknown variable or state, or is malformed.
class EvidenceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace samplenet
