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
// already carries "file:line: what was expected". Where the error was
// raised with them, `path` and `line` say the same apart (else empty and 0).
class ParseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ParseError(const std::string& message, std::string path, int line)
        : std::runtime_error(message), path(std::move(path)), line(line) {}
    std::string path;
    int line = 0;
};

// A file that cannot be written; `error` is the errno value behind it.
class FileError : public ParseError {
public:
    FileError(const std::string& message, std::string path, int error)
        : ParseError(message, std::move(path), 0), error(error) {}
    int error;
};

// Evidence that names an unknown variable or state, or is malformed.
class EvidenceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Evidence that is well formed but has probability zero under the model.
class ImpossibleEvidenceError : public EvidenceError {
public:
    ImpossibleEvidenceError() : EvidenceError("the evidence is impossible under the model (probability 0)") {}
};

}  // namespace samplenet
