#pragma once

#include <vector>

#include "lib/model/evidence.h"

namespace samplenet {

// How far an algorithm's posteriors are from reference marginals.
struct MarginalComparison {
    // The largest |posterior - reference| of any entry of a variable the
    // algorithm reported (observed ones included: they get a 0/1 posterior).
    double largestError = 0.0;
    // The mean Hellinger distance over the variables without hard evidence.
    double meanHellinger = 0.0;
};

// `valid[v]` says whether variable v was reported; an unreported variable
// without hard evidence is an error (std::invalid_argument), since the mean
// would leave it out silently.
MarginalComparison compareMarginals(const std::vector<std::vector<double>>& posteriors, const std::vector<bool>& valid,
                                    const std::vector<std::vector<double>>& reference, const Evidence& evidence);

}  // namespace samplenet
