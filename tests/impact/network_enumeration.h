#pragma once

#include <map>
#include <string>
#include <vector>

#include "lib/model/network.h"

namespace impact_testing {

// The bundled asia network, read once, and a variable's index by name.
const samplenet::Network& asia();
int node(const std::string& name);

// P(a, b | fixed) as a table [state of a][state of b], by enumeration;
// `fixed` maps variables to the states they must have, `likelihood` to
// factors that weigh their states.
std::vector<std::vector<double>> pairPosterior(const samplenet::Network& network, int a, int b,
                                               const std::map<int, int>& fixed,
                                               const std::map<int, std::vector<double>>& likelihood = {});

// Mutual information in bits of a joint table, entry by entry.
double mutualInformation(const std::vector<std::vector<double>>& joint);

}  // namespace impact_testing
