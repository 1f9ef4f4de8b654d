#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lib/formats/parse_errors.h"
#include "lib/formats/read_limits.h"
#include "lib/model/network.h"

namespace samplenet {

// Collects a network while a reader parses it, turning name and definition
// mistakes into ParseErrors "path:line: expected ..., found ...".
class NetworkBuilder {
public:
    NetworkBuilder(std::string path, const ReadLimits& limits);

    const ParseErrors& errors() const { return errors_; }
    [[noreturn]] void fail(int line, std::string_view expected, std::string_view found) const {
        errors_.fail(line, expected, found);
    }

    Network& network() { return network_; }
    // Appends a variable; a name already declared is an error.
    Variable& addVariable(std::string name, int line);
    int variableIndex(std::string_view name, int line) const;
    int stateIndex(int variable, std::string_view state, int line) const;
    // Reports a state count above the limit; readers call it before they
    // store the states of a variable.
    void checkStateCount(std::string_view variable, std::size_t count, int line) const;
    // Reports a variable without states, parents listed twice and tables
    // above the limits; returns the number of entries of the variable's
    // table for these parents.
    std::size_t checkParents(int variable, const std::vector<int>& parents, int line) const;
    // Sets parents and table of a variable whose distribution is not yet known.
    void define(int variable, std::vector<int> parents, std::vector<double> table, int line);
    // Every variable must have been defined; then the network is validated,
    // ModelError messages taking the path as prefix.
    Network finish(int lastLine);

private:
    ParseErrors errors_;
    ReadLimits limits_;
    std::size_t totalEntries_ = 0;  // of the tables defined so far
    Network network_;
    std::map<std::string, int, std::less<>> indexByName_;
    std::vector<bool> defined_;
};

}  // namespace samplenet
