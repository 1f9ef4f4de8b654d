#include <nanobind/stl/map.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/vector.h>

#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "lib/batch/batch_case.h"
#include "lib/inference/answer_reliability.h"
#include "lib/formats/evidence_parser.h"
#include "lib/inference/algorithm.h"
#include "lib/inference/inference.h"
#include "lib/inference/option_registry.h"
#include "python/src/bindings.h"
#include "python/src/gil_release.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

using samplenet::InferenceOptions;

samplenet::InferenceResult inferOne(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                                    const std::map<std::string, std::vector<double>>& likelihood,
                                    InferenceOptions options) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    return withoutGil(options, [&] { return samplenet::infer(network, evidence, options); });
}

// A sampler's figure, or None for the other algorithms.
template <typename Read>
auto ifSampled(const samplenet::InferenceResult& result, Read read) -> std::optional<decltype(read(*result.sampling))> {
    if (!result.sampling) return std::nullopt;
    return read(*result.sampling);
}

void bindResult(nb::module_& module) {
    using samplenet::InferenceResult;
    using samplenet::SamplingReport;
    nb::class_<InferenceResult>(module, "RunResult")
        .def_ro("posteriors", &InferenceResult::posteriors)
        .def_ro("ln_probability_of_evidence", &InferenceResult::logProbabilityOfEvidence)
        .def_ro("seconds", &InferenceResult::seconds)
        .def_ro("choice", &InferenceResult::choice)
        .def_ro("standard_errors", &InferenceResult::standardErrors)
        .def_prop_ro("algorithm",
                     [](const InferenceResult& r) { return std::string(samplenet::algorithmName(r.settings.algorithm)); })
        .def_prop_ro("samples_drawn",
                     [](const InferenceResult& r) { return ifSampled(r, [](const SamplingReport& s) { return s.drawn; }); })
        .def_prop_ro("distinct_samples",
                     [](const InferenceResult& r) { return ifSampled(r, [](const SamplingReport& s) { return s.distinct; }); })
        .def_prop_ro("effective_sample_size",
                     [](const InferenceResult& r) {
                         return ifSampled(r, [](const SamplingReport& s) { return s.errors.effectiveSampleSize; });
                     })
        .def_prop_ro("error_bound",
                     [](const InferenceResult& r) {
                         return ifSampled(r, [](const SamplingReport& s) { return s.errors.errorBound; });
                     })
        .def_prop_ro("target_met", [](const InferenceResult& r) { return r.sampling ? r.sampling->targetMet : std::nullopt; })
        .def_prop_ro("probability_of_evidence_relative_error",
                     [](const InferenceResult& r) { return r.probabilityOfEvidenceRelativeError.value_or(NAN); })
        .def_prop_ro("warning", [](const InferenceResult& r) { return samplenet::judgeReliability(r).warning; })
        // lbp with a tolerance: whether it reached a fixed point.
        .def_prop_ro("converged",
                     [](const InferenceResult& r) -> std::optional<bool> {
                         if (!r.propagation || !r.settings.lbpTolerance) return std::nullopt;
                         return r.propagation->converged;
                     })
        .def_prop_ro("joint_probabilities",
                     [](const InferenceResult& r) {
                         return r.joint ? std::optional(r.joint->probabilities) : std::nullopt;
                     })
        .def_prop_ro("joint_standard_errors", [](const InferenceResult& r) {
            return r.joint ? std::optional(r.joint->standardErrors) : std::nullopt;
        });
}

// Cases first, first + 1, ...: for each, the posteriors of the queried
// variables one after the other, their standard errors when asked for, and
// the algorithm's summary columns (NaN where the run gave none), or the
// reason the case failed.
using CaseRows = std::tuple<std::vector<std::vector<double>>, std::vector<std::string>>;

CaseRows runCases(const samplenet::Network& network, const std::vector<std::string>& columnNames,
                  const std::vector<std::vector<std::string>>& rows, const std::vector<int>& queried,
                  InferenceOptions options, long runSeed, std::size_t first, bool standardErrors) {
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
            if (standardErrors) {
                const std::vector<double> errors = samplenet::caseStandardErrors(*outcome.result, queried);
                row.insert(row.end(), errors.begin(), errors.end());
            }
            const std::vector<double> summary = samplenet::caseSummary(*outcome.result, options.algorithm);
            row.insert(row.end(), summary.begin(), summary.end());
        }
        values.push_back(std::move(row));
        errors.push_back(outcome.error);
    }
    return {std::move(values), std::move(errors)};
}

const samplenet::OptionSpec& registered(const std::string& keyword) {
    const samplenet::OptionSpec* spec = samplenet::optionNamed(keyword);
    if (!spec) throw std::invalid_argument("unknown option \"" + keyword + "\"");
    return *spec;
}

// Checks the value as every surface does and sets it; ValueError
// "KEYWORD: expected ..." when refused.
template <typename Value>
void setRegistered(InferenceOptions& options, const std::string& keyword, Value value) {
    samplenet::setOption(options, registered(keyword), samplenet::OptionValue{std::move(value)});
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
    bindResult(module);
    nb::class_<InferenceOptions>(module, "Options")
        .def(nb::init<>())
        .def_prop_rw(
            "algorithm",
            [](const InferenceOptions& options) { return std::string(samplenet::algorithmName(options.algorithm)); },
            [](InferenceOptions& options, const std::string& name) {
                const auto algorithm = samplenet::algorithmNamed(name);
                if (!algorithm) throw std::invalid_argument(samplenet::unknownAlgorithmMessage(name));
                options.algorithm = *algorithm;
            })
        // The tuning options are set by keyword, checked by the registry.
        .def("set", &setRegistered<long long>, nb::arg("keyword"), nb::arg("value"))
        .def("set", &setRegistered<double>, nb::arg("keyword"), nb::arg("value"))
        .def("set", &setRegistered<std::string>, nb::arg("keyword"), nb::arg("value"))
        .def_rw("queried", &InferenceOptions::queried)
        .def_rw("joint", &InferenceOptions::joint);
    module.def("option_specs", [] {
        // Flag name, keyword, kind, help, default, choices, concern: what
        // Python checks and documents.
        std::vector<std::tuple<std::string, std::string, std::string, std::string, std::string, std::vector<std::string>,
                               std::string>>
            specs;
        for (const samplenet::OptionSpec& spec : samplenet::optionSpecs())
            specs.emplace_back(std::string(spec.name), std::string(spec.keyword),
                               spec.kind == samplenet::OptionKind::WholeNumber ? "whole"
                               : spec.kind == samplenet::OptionKind::Number    ? "number"
                                                                               : "choice",
                               std::string(spec.help), std::string(spec.defaultText),
                               std::vector<std::string>(spec.choices.begin(), spec.choices.end()),
                               std::string(spec.concern));
        return specs;
    });
    module.def(
        "option_ignored",
        [](const InferenceOptions& options, const std::string& keyword) {
            return samplenet::whyIgnored(options.algorithm, registered(keyword));
        },
        nb::arg("options"), nb::arg("keyword"));
    module.def("check_options", &samplenet::checkOptions, nb::arg("options"));
    nb::enum_<samplenet::Query>(module, "Query")
        .value("EXPLANATION", samplenet::Query::Explanation)
        .value("MOST_PROBABLE_STATES", samplenet::Query::MostProbableStates)
        .value("JOINT_POSTERIOR", samplenet::Query::JointPosterior);
    module.def(
        "why_no_answer",
        [](const InferenceOptions& options, samplenet::Query query) {
            return samplenet::whyNoAnswer(options.algorithm, query);
        },
        nb::arg("options"), nb::arg("query"));
    module.def(
        "unknown_algorithm_message", [](const std::string& name) { return samplenet::unknownAlgorithmMessage(name); },
        nb::arg("name"));
    // Every algorithm's name, or with `engine_samplers` those whose samples
    // can be drawn in shares.
    module.def(
        "algorithm_names",
        [](bool engineSamplers) {
            std::vector<std::string> names;
            for (const samplenet::AlgorithmEntry& entry : samplenet::algorithms())
                if (!engineSamplers || entry.engineSampler) names.emplace_back(entry.name);
            return names;
        },
        nb::arg("engine_samplers") = false);
    module.def("infer", &inferOne, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"), nb::arg("options"));
    module.def("run_cases", &runCases, nb::arg("network"), nb::arg("columns"), nb::arg("rows"), nb::arg("queried"),
               nb::arg("options"), nb::arg("run_seed"), nb::arg("first_case"), nb::arg("standard_errors"));
    module.def(
        "why_no_case_standard_errors",
        [](const InferenceOptions& options) { return samplenet::whyNoCaseStandardErrors(options.algorithm); },
        nb::arg("options"));
    module.def("case_seed", &samplenet::caseSeed, nb::arg("run_seed"), nb::arg("case_index"));
    module.def(
        "case_summary_columns",
        [](const InferenceOptions& options) { return samplenet::caseSummaryColumns(options.algorithm); },
        nb::arg("options"));
}

}  // namespace samplenet_python
