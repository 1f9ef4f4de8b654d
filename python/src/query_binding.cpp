#include <nanobind/stl/map.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "lib/queries/query_choice.h"
#include "python/src/bindings.h"
#include "python/src/gil_release.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

// The explanation's state of every variable, natural logs of P(x, e) and
// P(x | e), whether it is exact, the variables the local search changed,
// the algorithm that found it and, for "auto", why.
using ExplanationRecord = std::tuple<std::vector<int>, double, double, bool, int, std::string, std::string>;

ExplanationRecord explain(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                          const std::map<std::string, std::vector<double>>& likelihood,
                          samplenet::InferenceOptions options, bool localSearch) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    auto run = withoutGil(options, [&] { return samplenet::explainEvidence(network, evidence, options, localSearch); });
    const samplenet::Explanation& found = run.answer;
    return {found.states, found.logJoint, found.logPosterior, found.exact, found.searchChanges,
            std::string(samplenet::algorithmName(run.algorithm)), run.choice};
}

// The joint posterior's probabilities, the last variable's states varying
// fastest.
std::vector<double> joint(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                          const std::map<std::string, std::vector<double>>& likelihood,
                          const std::vector<int>& variables, samplenet::InferenceOptions options) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    return withoutGil(options, [&] {
        return samplenet::jointPosterior(network, evidence, variables, options).answer.probabilities;
    });
}

}  // namespace

void bindQueries(nb::module_& module) {
    module.def("explain", &explain, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"), nb::arg("options"),
               nb::arg("local_search"));
    module.def("joint_posterior", &joint, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"),
               nb::arg("variables"), nb::arg("options"));
}

}  // namespace samplenet_python
