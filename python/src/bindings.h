#pragma once

#include <nanobind/nanobind.h>

#include <map>
#include <string>
#include <vector>

#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet_python {

// Each registers one part of the module `samplenet._core`.
void bindErrors(nanobind::module_& module);
void bindNetwork(nanobind::module_& module);
void bindInference(nanobind::module_& module);
void bindPicture(nanobind::module_& module);
void bindQueries(nanobind::module_& module);
void bindExplore(nanobind::module_& module);
void bindGraph(nanobind::module_& module);
void bindData(nanobind::module_& module);
void bindImpact(nanobind::module_& module);
void bindShares(nanobind::module_& module);

// Evidence from Python's dicts of state names and likelihood lists, checked
// with the command line's messages.
samplenet::Evidence evidenceByName(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                                   const std::map<std::string, std::vector<double>>& likelihood);

}  // namespace samplenet_python
