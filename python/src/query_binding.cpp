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
// P(x | e), whether it is exact, the variables the local search changed
// (or, for sampled states of chosen variables, its moves), the algorithm
// that found it and how or, for "auto", why; whether the logs are
// estimates, and their standard errors.
using ExplanationRecord =
    std::tuple<std::vector<int>, double, double, bool, int, std::string, std::string, bool, double, double>;

ExplanationRecord recordOf(const samplenet::QueryRun<samplenet::Explanation>& run) {
    const samplenet::Explanation& found = run.answer;
    return {found.states,  found.logJoint,
            found.logPosterior,
            found.exact,   found.searchChanges,
            std::string(samplenet::algorithmName(run.algorithm)),
            run.choice,    found.estimated,
            found.logJointError, found.logPosteriorError};
}

ExplanationRecord explain(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                          const std::map<std::string, std::vector<double>>& likelihood,
                          samplenet::InferenceOptions options, bool localSearch) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    return recordOf(
        withoutGil(options, [&] { return samplenet::explainEvidence(network, evidence, options, localSearch); }));
}

// As explain, with the states of the variables not asked -1.
ExplanationRecord mostProbableStates(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                                     const std::map<std::string, std::vector<double>>& likelihood,
                                     const std::vector<int>& variables, samplenet::InferenceOptions options) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    return recordOf(
        withoutGil(options, [&] { return samplenet::mostProbableStates(network, evidence, variables, options); }));
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
    module.def("most_probable_states", &mostProbableStates, nb::arg("network"), nb::arg("hard"),
               nb::arg("likelihood"), nb::arg("variables"), nb::arg("options"));
    module.def("joint_posterior", &joint, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"),
               nb::arg("variables"), nb::arg("options"));
}

}  // namespace samplenet_python
