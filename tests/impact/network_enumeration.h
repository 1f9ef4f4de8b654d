#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "lib/model/network.h"

namespace impact_testing {

// The bundled asia network, read once, and a variable's index by name.
const samplenet::Network& asia();
int node(const std::string& name);

// Calls `visit` with every joint state of a small network (a state per
// variable) and the product of the tables' entries for it, leaving out the
// tables of the variables in `skipped`: the probabilities the tests check
// against, computed without any inference code.
void enumerateJointStates(const samplenet::Network& network, const std::vector<int>& skipped,
                          const std::function<void(const std::vector<int>&, double)>& visit);

// P(a, b | fixed) as a table [state of a][state of b], by enumeration;
// `fixed` maps variables to the states they must have, `likelihood` to
// factors that weigh their states.
std::vector<std::vector<double>> pairPosterior(const samplenet::Network& network, int a, int b,
                                               const std::map<int, int>& fixed,
                                               const std::map<int, std::vector<double>>& likelihood = {});

}  // namespace impact_testing
