#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// Throws EvidenceError unless the likelihood has one finite non-negative
// entry per state of the variable, and a positive one among them.
void checkLikelihood(const Variable& variable, const std::vector<double>& likelihood);

// Throws EvidenceError when evidence names a variable or state that does not
// exist, or a likelihood vector has the wrong length, a negative or
// non-finite entry, or no positive entry.
void checkEvidenceShape(const Network& network, const Evidence& evidence);

// The same checks for code that holds no network: `variableCount`
// variables, variable v with `stateCount(v)` states and called `name(v)`.
void checkEvidenceShape(const Evidence& evidence, int variableCount, const std::function<int(int)>& stateCount,
                        const std::function<std::string(int)>& name);

// A variable none of whose states can occur together with the evidence, found
// by propagating the zero entries of the tables through every family until
// nothing changes. States of a joint configuration with positive probability
// are never removed, so a result proves the evidence impossible; nullopt only
// means that no proof was found.
std::optional<int> findImpossibleVariable(const Network& network, const Evidence& evidence);

}  // namespace samplenet
