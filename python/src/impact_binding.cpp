#include <nanobind/stl/map.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "lib/impact/evidence_impact.h"
#include "lib/impact/intervention.h"
#include "python/src/bindings.h"
#include "python/src/gil_release.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

using Distribution = std::tuple<std::vector<double>, std::vector<double>>;  // probabilities, standard errors
// Variable, mutual information in bits, its standard error (samplers
// only), P(candidate | e), and P(target | e, candidate = c) for each state c
// (empty where c is impossible).
using CandidateRecord = std::tuple<int, double, std::optional<double>, Distribution, std::vector<Distribution>>;
// P(target | e), its entropy in bits, the candidates (most informative
// first), the algorithm that ran, why (auto), the runs, their seconds, the
// seed the samplers' seeds derive from (samplers only), and the warnings.
using ImpactRecord = std::tuple<Distribution, double, std::vector<CandidateRecord>, std::string, std::string, int,
                                double, std::optional<long>, std::vector<std::string>>;

Distribution record(samplenet::EstimatedDistribution distribution) {
    return {std::move(distribution.probabilities), std::move(distribution.standardErrors)};
}

samplenet::Network intervened(const samplenet::Network& network, const std::map<std::string, std::string>& settings,
                              const std::map<std::string, std::string>& hard,
                              const std::map<std::string, std::vector<double>>& likelihood) {
    samplenet::Interventions interventions;
    for (const auto& [name, state] : settings) samplenet::addIntervention(network, name, state, interventions);
    samplenet::checkInterventions(network, evidenceByName(network, hard, likelihood), interventions);
    return samplenet::intervene(network, interventions);
}

ImpactRecord impact(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                    const std::map<std::string, std::vector<double>>& likelihood, int target,
                    std::optional<std::vector<int>> candidates, const std::vector<int>& excluded,
                    samplenet::InferenceOptions options) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    const std::vector<int> considered =
        candidates ? *candidates : samplenet::unobservedCandidates(network, evidence, target, excluded);
    samplenet::EvidenceImpact result = withoutGil(
        options, [&] { return samplenet::evidenceImpact(network, evidence, target, considered, options); });
    std::vector<CandidateRecord> ranked;
    for (samplenet::CandidateImpact& candidate : result.candidates) {
        std::vector<Distribution> given;
        for (samplenet::EstimatedDistribution& distribution : candidate.targetGiven)
            given.push_back(record(std::move(distribution)));
        ranked.emplace_back(candidate.variable, candidate.mutualInformationBits, candidate.standardError,
                            record(std::move(candidate.probabilities)), std::move(given));
    }
    const bool sampled = samplenet::algorithmEntry(result.used.algorithm).samples;
    return {record(std::move(result.targetPosterior)), result.targetEntropyBits, std::move(ranked),
            std::string(samplenet::algorithmName(result.used.algorithm)), std::move(result.choice), result.runs,
            result.seconds, sampled ? result.used.seed : std::nullopt, std::move(result.warnings)};
}

}  // namespace

void bindImpact(nb::module_& module) {
    module.def("intervene", &intervened, nb::arg("network"), nb::arg("settings"), nb::arg("hard"),
               nb::arg("likelihood"));
    module.def("impact", &impact, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"), nb::arg("target"),
               nb::arg("candidates").none(), nb::arg("excluded"), nb::arg("options"));
}

}  // namespace samplenet_python
