#include "cli/posterior_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>
#include <nlohmann/json.hpp>

#include "cli/html_report.h"
#include "cli/intervention_options.h"
#include "lib/inference/answer_reliability.h"
#include "lib/output/result_json.h"

namespace samplenet_cli {

namespace {

using samplenet::Algorithm;

using samplenet::kConvergedMeans;

std::string likelihoodText(const std::vector<double>& likelihood) {
    return fmt::format("[{}]", fmt::join(likelihood, ","));
}

}  // namespace

std::string runDescription(const samplenet::InferenceOptions& options, const samplenet::InferenceResult& result) {
    if (options.algorithm == Algorithm::Lbp) {
        if (!options.lbpTolerance || !result.propagation) return fmt::format("lbp, {} iterations", options.lbpIterations);
        const samplenet::PropagationReport& run = *result.propagation;
        return fmt::format("lbp, {} of at most {} iterations, {} (last change {:.2g}, tolerance {})", run.iterations,
                           options.lbpIterations, run.converged ? "converged" : "not converged", run.lastChange,
                           *options.lbpTolerance);
    }
    if (options.algorithm == Algorithm::Exact) {
        const double log10P = *result.logProbabilityOfEvidence / std::log(10.0);
        return fmt::format("exact, P(evidence) = {:.6g} (log10 {:.4f})", std::pow(10.0, log10P), log10P);
    }
    const long limit = samplenet::sampleLimit(options);
    const long drawn = result.samplesDrawn.value_or(limit);
    const std::string_view name = samplenet::algorithmName(options.algorithm);
    std::string text;
    if (options.targetError && result.sampling) {
        text = fmt::format("{}, {} samples (target error {} {})", name, drawn, *options.targetError,
                           result.sampling->targetMet == true ? "met" : "not met");
    } else if (drawn < limit) {
        text = fmt::format("{}, {} of {} samples (time limit {} s)", name, drawn, limit,
                           options.maxSeconds.value_or(0.0));
    } else {
        text = fmt::format("{}, {} samples", name, limit);
    }
    if (options.seed) text += fmt::format(", seed {}", *options.seed);
    return text;
}

std::string errorDescription(const samplenet::InferenceResult& result) {
    if (!result.sampling) return {};
    const samplenet::ErrorEstimates& errors = result.sampling->errors;
    // Too few effective samples make the bound itself a guess: none is shown.
    const std::string bound = errors.effectiveSampleSize < samplenet::kReliableSampleSize
                                  ? std::string("no error bound")
                                  : fmt::format("every posterior within {:.2g} (95%)", errors.errorBound);
    std::string text = fmt::format("largest standard error {:.2g}, {}, effective sample size {:.1f} of {}",
                                   errors.largestStandardError, bound, errors.effectiveSampleSize,
                                   result.sampling->drawn);
    if (result.logProbabilityOfEvidence) {
        const double log10P = *result.logProbabilityOfEvidence / std::log(10.0);
        text += fmt::format(", P(evidence) ~ {:.4g} (log10 {:.4f}) +- {:.2g}%", std::pow(10.0, log10P), log10P,
                            100.0 * result.probabilityOfEvidenceRelativeError.value_or(0.0));
    }
    return text;
}

std::string evidenceDescription(const samplenet::Network& network, const samplenet::Evidence& evidence) {
    std::vector<std::string> items;
    for (int v : samplenet::observedInGivenOrder(evidence)) items.push_back(evidenceAssignment(network, evidence, v));
    return items.empty() ? "none" : fmt::format("{}", fmt::join(items, ", "));
}

std::string evidenceAssignment(const samplenet::Network& network, const samplenet::Evidence& evidence, int v) {
    const auto& variable = network.variables[v];
    if (const auto hard = evidence.hard.find(v); hard != evidence.hard.end())
        return variable.name + "=" + variable.states[hard->second];
    return variable.name + "=" + likelihoodText(evidence.likelihood.at(v));
}

namespace {

std::string tableReport(const PosteriorReport& report) {
    std::size_t nameWidth = 4;
    std::size_t stateWidth = 5;
    for (int v : report.variables) {
        const auto& variable = report.network.variables[v];
        nameWidth = std::max(nameWidth, variable.name.size());
        for (const auto& state : variable.states) stateWidth = std::max(stateWidth, state.size());
    }
    std::string text = fmt::format("# {}: {}, {:.3f} s\n# evidence: {}\n", report.source,
                                   runDescription(report.options, report.result), report.result.seconds,
                                   evidenceDescription(report.network, report.evidence));
    text += interventionHeader(report.network, report.interventions);
    if (!report.result.choice.empty()) text += "# chosen: " + report.result.choice + "\n";
    if (report.result.propagation && report.result.propagation->converged)
        text += fmt::format("# note: \"converged\" means {}\n", kConvergedMeans);
    const bool withErrors = !report.result.standardErrors.empty();
    if (withErrors) text += "# error: " + errorDescription(report.result) + "\n";
    if (const auto reliability = samplenet::judgeReliability(report.result); !reliability.reliable)
        text += "# warning: " + reliability.warning + "\n";
    text += fmt::format("{:<{}}  {:<{}}  {}{}\n", "node", nameWidth, "state", stateWidth, "probability",
                        withErrors ? "  std. error" : "");
    for (int v : report.variables) {
        const auto& variable = report.network.variables[v];
        for (int s = 0; s < variable.stateCount(); ++s) {
            text += fmt::format("{:<{}}  {:<{}}  {:.6f}", s == 0 ? variable.name : "", nameWidth, variable.states[s],
                                stateWidth, report.result.posteriors[v][s]);
            text += withErrors ? fmt::format("     {:.6f}\n", report.result.standardErrors[v][s]) : "\n";
        }
    }
    return text;
}

// One posterior as an element of the report's array, indented as dump(2)
// indents it there: every line four spaces in.
std::string posteriorJson(const PosteriorReport& report, int v) {
    const auto& variable = report.network.variables[v];
    nlohmann::ordered_json entry = {
        {"node", variable.name}, {"states", variable.states}, {"probabilities", report.result.posteriors[v]}};
    if (!report.result.standardErrors.empty()) entry["standard_errors"] = report.result.standardErrors[v];
    const std::string text = entry.dump(2);
    std::string indented = "    ";
    indented.reserve(text.size() + text.size() / 4);
    for (const char c : text) {
        indented += c;
        if (c == '\n') indented += "    ";
    }
    return indented;
}

// The text dump(2) gives for the whole document, made a posterior at a time
// in pieces of about a megabyte: on a network of a million nodes the
// document's objects and one string of the text took several times the text.
ReportText jsonReport(const PosteriorReport& report) {
    nlohmann::ordered_json json;
    json["network"] = report.source;
    // The report's options are the result's settings (runInference made
    // them so), with the queried nodes narrowed to those shown.
    samplenet::addRunJson(json, report.result);
    json["evidence"] = evidenceJson(report.network, report.evidence);
    addInterventionsJson(json, report.network, report.interventions);
    // Last, so that the text ends with it.
    json["posteriors"] = nlohmann::ordered_json::array();
    std::string head = json.dump(2);
    if (report.variables.empty()) return {head + "\n"};
    constexpr std::string_view kEmptyEnd = "[]\n}";
    head.replace(head.size() - kEmptyEnd.size(), kEmptyEnd.size(), "[\n");
    ReportText pieces{std::move(head)};
    constexpr std::size_t kPieceBytes = std::size_t{1} << 20;
    std::string piece;
    for (std::size_t k = 0; k < report.variables.size(); ++k) {
        if (k > 0) piece += ",\n";
        piece += posteriorJson(report, report.variables[k]);
        if (piece.size() >= kPieceBytes) pieces.push_back(std::exchange(piece, {}));
    }
    pieces.push_back(piece + "\n  ]\n}\n");
    return pieces;
}

// A plain table that pandas and spreadsheets read as is: P(evidence), where
// the run gives it, is a column repeated on every row rather than a comment
// line that readers would have to be told to skip.
std::string csvReport(const PosteriorReport& report) {
    const bool withErrors = !report.result.standardErrors.empty();
    const std::optional<double> logP = report.result.logProbabilityOfEvidence;
    std::string text = "node,state,probability";
    if (withErrors) text += ",standard_error";
    if (logP) text += ",ln_probability_of_evidence";
    text += "\n";
    for (int v : report.variables) {
        const auto& variable = report.network.variables[v];
        for (int s = 0; s < variable.stateCount(); ++s) {
            text += fmt::format("{},{},{}", csvField(variable.name), csvField(variable.states[s]),
                                report.result.posteriors[v][s]);
            if (withErrors) text += fmt::format(",{}", report.result.standardErrors[v][s]);
            if (logP) text += fmt::format(",{}", *logP);
            text += "\n";
        }
    }
    return text;
}

}  // namespace

nlohmann::ordered_json evidenceJson(const samplenet::Network& network, const samplenet::Evidence& evidence) {
    auto json = nlohmann::ordered_json::object();
    for (int v : samplenet::observedInGivenOrder(evidence)) {
        const auto& variable = network.variables[v];
        if (const auto hard = evidence.hard.find(v); hard != evidence.hard.end())
            json[variable.name] = variable.states[hard->second];
        else
            json[variable.name] = evidence.likelihood.at(v);
    }
    return json;
}

std::optional<OutputFormat> outputFormatNamed(std::string_view name) {
    if (name == "table") return OutputFormat::Table;
    if (name == "json") return OutputFormat::Json;
    if (name == "csv") return OutputFormat::Csv;
    if (name == "html") return OutputFormat::Html;
    return std::nullopt;
}

ReportText formatReport(const PosteriorReport& report, OutputFormat format) {
    switch (format) {
        case OutputFormat::Table: return {tableReport(report)};
        case OutputFormat::Json: return jsonReport(report);
        case OutputFormat::Csv: return {csvReport(report)};
        case OutputFormat::Html: return {htmlReport(report)};
    }
    return {};
}

}  // namespace samplenet_cli
