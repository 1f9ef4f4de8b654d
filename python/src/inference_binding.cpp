#include <nanobind/stl/map.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "lib/batch/batch_case.h"
#include "lib/inference/answer_reliability.h"
#include "lib/formats/evidence_parser.h"
#include "lib/inference/inference.h"
#include "python/src/bindings.h"
#include "python/src/gil_release.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

using samplenet::InferenceOptions;

// Posteriors by variable index, the natural log of P(evidence) where the
// algorithm yields or estimates it, the run's seconds, and for the samplers
// a record of the sampling: samples drawn, distinct draws, effective sample
// size, P(evidence)'s relative error, each entry's standard error, and
// whether a target error was met, and the distance within which every
// posterior lies with 95% confidence, and why the answer is unreliable
// (empty when it is not); for lbp with a tolerance, whether it
// converged; with algorithm "auto", what ran and why; and a joint
// posterior the samplers added up.
using SamplingRecord = std::tuple<long, long, double, double, std::vector<std::vector<double>>, std::optional<bool>,
                                  double, std::string>;
// With options.joint and a sampler: the joint posterior's probabilities and
// their standard errors, the last variable's states varying fastest.
using JointRecord = std::tuple<std::vector<double>, std::vector<double>>;
using RunResult = std::tuple<std::vector<std::vector<double>>, std::optional<double>, double,
                             std::optional<SamplingRecord>, std::optional<bool>, std::string,
                             std::optional<JointRecord>>;

RunResult inferOne(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                   const std::map<std::string, std::vector<double>>& likelihood, InferenceOptions options) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    samplenet::InferenceResult result =
        withoutGil(options, [&] { return samplenet::infer(network, evidence, options); });
    std::optional<SamplingRecord> sampling;
    if (result.sampling)
        sampling = SamplingRecord{result.sampling->drawn, result.sampling->distinct,
                                  result.sampling->errors.effectiveSampleSize,
                                  result.probabilityOfEvidenceRelativeError.value_or(NAN),
                                  std::move(result.standardErrors), result.sampling->targetMet,
                                  result.sampling->errors.errorBound, samplenet::judgeReliability(result).warning};
    std::optional<bool> converged;
    if (result.propagation && options.lbpTolerance) converged = result.propagation->converged;
    std::optional<JointRecord> joint;
    if (result.joint) joint = JointRecord{std::move(result.joint->probabilities), std::move(result.joint->standardErrors)};
    return {std::move(result.posteriors), result.logProbabilityOfEvidence, result.seconds, std::move(sampling),
            converged, std::move(result.choice), std::move(joint)};
}

// Cases first, first + 1, ...: for each, the posteriors of the queried
// variables one after the other and the algorithm's summary columns (NaN
// where the run gave none), or the reason the case failed.
using CaseRows = std::tuple<std::vector<std::vector<double>>, std::vector<std::string>>;

CaseRows runCases(const samplenet::Network& network, const std::vector<std::string>& columnNames,
                  const std::vector<std::vector<std::string>>& rows, const std::vector<int>& queried,
                  InferenceOptions options, long runSeed, std::size_t first) {
    const std::vector<int> columns = samplenet::caseColumns(network, columnNames);
    // Only the queried nodes' posteriors are computed (as in the command
    // line's batches).
    if (queried.size() < static_cast<std::size_t>(network.size())) options.queried = queried;
    std::vector<std::vector<double>> values;
    std::vector<std::string> errors;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const samplenet::CaseOutcome outcome = withoutGil(
            options, [&] { return samplenet::runCase(network, columns, rows[r], options, runSeed, first + r); });
        std::vector<double> row;
        if (outcome.result) {
            for (int v : queried) {
                const std::vector<double>& posterior = outcome.result->posteriors[v];
                row.insert(row.end(), posterior.begin(), posterior.end());
            }
            const std::vector<double> summary = samplenet::caseSummary(*outcome.result, options.algorithm);
            row.insert(row.end(), summary.begin(), summary.end());
        }
        values.push_back(std::move(row));
        errors.push_back(outcome.error);
    }
    return {std::move(values), std::move(errors)};
}

}  // namespace

samplenet::Evidence evidenceByName(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                                   const std::map<std::string, std::vector<double>>& likelihood) {
    samplenet::Evidence evidence;
    for (const auto& [name, state] : hard) samplenet::addHardEvidence(network, name, state, evidence);
    for (const auto& [name, values] : likelihood) samplenet::addLikelihoodEvidence(network, name, values, evidence);
    return evidence;
}

void bindInference(nb::module_& module) {
    nb::class_<InferenceOptions>(module, "Options")
        .def(nb::init<>())
        .def_prop_rw(
            "algorithm",
            [](const InferenceOptions& options) { return std::string(samplenet::algorithmName(options.algorithm)); },
            [](InferenceOptions& options, const std::string& name) {
                const auto algorithm = samplenet::algorithmNamed(name);
                if (!algorithm)
                    throw std::invalid_argument("unknown algorithm \"" + name + "\"; use auto, epis, ais, lbp, exact, wmb or bpis");
                options.algorithm = *algorithm;
            })
        .def_rw("samples", &InferenceOptions::samples)
        .def_rw("seed", &InferenceOptions::seed)
        .def_rw("lbp_iterations", &InferenceOptions::lbpIterations)
        .def_rw("jobs", &InferenceOptions::jobs)
        .def_rw("target_error", &InferenceOptions::targetError)
        .def_rw("tolerance", &InferenceOptions::lbpTolerance)
        .def_prop_rw(
            "wide_generator", [](const InferenceOptions& options) { return options.generator == samplenet::Generator::Wide; },
            [](InferenceOptions& options, bool wide) {
                options.generator = wide ? samplenet::Generator::Wide : samplenet::Generator::Standard;
            })
        .def_prop_rw(
            "propagation_length", [](const InferenceOptions& options) { return options.epis.propagationLength; },
            [](InferenceOptions& options, int rounds) { options.epis.propagationLength = rounds; })
        .def_rw("memory_limit_bytes", &InferenceOptions::memoryLimitBytes)
        .def_rw("max_seconds", &InferenceOptions::maxSeconds)
        .def_rw("queried", &InferenceOptions::queried)
        .def_rw("joint", &InferenceOptions::joint);
    module.def("infer", &inferOne, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"), nb::arg("options"));
    module.def("run_cases", &runCases, nb::arg("network"), nb::arg("columns"), nb::arg("rows"), nb::arg("queried"),
               nb::arg("options"), nb::arg("run_seed"), nb::arg("first_case"));
    module.def("case_seed", &samplenet::caseSeed, nb::arg("run_seed"), nb::arg("case_index"));
    module.def(
        "case_summary_columns",
        [](const InferenceOptions& options) { return samplenet::caseSummaryColumns(options.algorithm); },
        nb::arg("options"));
}

}  // namespace samplenet_python
