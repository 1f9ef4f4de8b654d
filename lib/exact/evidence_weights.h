#pragma once

#include <functional>
#include <string>
#include <vector>

#include "lib/model/evidence.h"

namespace samplenet {

// Evidence as one weight per state of each observed variable (empty for the
// others): a hard observation weighs its state 1 and the others 0, and a
// likelihood multiplies in. Throws EvidenceError, naming the variable, for
// evidence that does not fit the variables' state counts.
using EvidenceWeights = std::vector<std::vector<double>>;

EvidenceWeights evidenceWeights(const Evidence& evidence, const std::vector<int>& stateCounts,
                                const std::function<std::string(int)>& nameOf);

}  // namespace samplenet
