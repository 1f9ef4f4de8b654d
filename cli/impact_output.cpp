#include "cli/impact_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/intervention_options.h"
#include "cli/posterior_output.h"

namespace samplenet_cli {

namespace {

using samplenet::CandidateImpact;
using samplenet::EstimatedDistribution;
using nlohmann::ordered_json;

// "epis, 5 runs of 100000 samples, seed 7" and the like.
std::string runsDescription(const samplenet::EvidenceImpact& impact) {
    const samplenet::InferenceOptions& used = impact.used;
    std::string text = fmt::format("{}, {} runs", samplenet::algorithmName(used.algorithm), impact.runs);
    if (!samplenet::algorithmEntry(used.algorithm).samples) return text;
    if (!used.targetError)
        text += fmt::format(" of {} samples", samplenet::sampleLimit(used));
    else if (samplenet::drawsToTargetUncapped(used))
        text += fmt::format(" to a target error of {}", *used.targetError);
    else
        text += fmt::format(" to a target error of {} (at most {} samples each)", *used.targetError,
                            samplenet::sampleLimit(used));
    return text + fmt::format(", seed {}", used.seed.value_or(0));
}

std::string targetName(const ImpactReport& report, int state) {
    const samplenet::Variable& target = report.network.variables[report.impact.target];
    return target.name + "=" + target.states[state];
}

double expectedEntropy(const ImpactReport& report, const CandidateImpact& candidate) {
    return std::max(report.impact.targetEntropyBits - candidate.mutualInformationBits, 0.0);
}

std::size_t shownCount(const ImpactReport& report) { return std::min(report.shown, report.impact.candidates.size()); }

std::string tableHeading(const ImpactReport& report) {
    const samplenet::EvidenceImpact& impact = report.impact;
    std::string text = fmt::format("# {}: {}, {:.3f} s\n# evidence: {}\n", report.source, runsDescription(impact),
                                   impact.seconds, evidenceDescription(report.network, report.evidence));
    text += interventionHeader(report.network, report.interventions);
    if (!impact.choice.empty()) text += "# chosen: " + impact.choice + "\n";
    const samplenet::Variable& target = report.network.variables[impact.target];
    std::vector<std::string> states;
    for (int t = 0; t < target.stateCount(); ++t) {
        states.push_back(fmt::format("{} {:.4f}", target.states[t], impact.targetPosterior.probabilities[t]));
        if (!impact.targetPosterior.standardErrors.empty())
            states.back() += fmt::format(" (+-{:.2g})", impact.targetPosterior.standardErrors[t]);
    }
    text += fmt::format("# target {}: {}; entropy {:.4f} bits\n", target.name, fmt::join(states, ", "),
                        impact.targetEntropyBits);
    text += "# information: bits the target's entropy is expected to fall by once the node is observed\n";
    for (const std::string& warning : impact.warnings) text += "# warning: " + warning + "\n";
    return text;
}

std::string tableReport(const ImpactReport& report) {
    const samplenet::EvidenceImpact& impact = report.impact;
    const std::size_t shown = shownCount(report);
    const bool withErrors = std::any_of(impact.candidates.begin(), impact.candidates.end(),
                                        [](const CandidateImpact& c) { return c.standardError.has_value(); });
    std::size_t nameWidth = 4;
    std::size_t stateWidth = 5;
    for (std::size_t i = 0; i < shown; ++i) {
        const samplenet::Variable& variable = report.network.variables[impact.candidates[i].variable];
        nameWidth = std::max(nameWidth, variable.name.size());
        for (const std::string& state : variable.states) stateWidth = std::max(stateWidth, state.size());
    }
    std::string text = tableHeading(report);
    text += fmt::format("{:<{}}  information  {}{:<{}}  probability", "node", nameWidth,
                        withErrors ? "std. error  " : "", "state", stateWidth);
    const int targetStates = report.network.variables[impact.target].stateCount();
    for (int t = 0; t < targetStates; ++t) text += "  " + targetName(report, t);
    text += "\n";
    for (std::size_t i = 0; i < shown; ++i) {
        const CandidateImpact& candidate = impact.candidates[i];
        const samplenet::Variable& variable = report.network.variables[candidate.variable];
        for (int c = 0; c < variable.stateCount(); ++c) {
            const bool first = c == 0;
            text += fmt::format("{:<{}}  {:<11}  ", first ? variable.name : "", nameWidth,
                                first ? fmt::format("{:.6f}", candidate.mutualInformationBits) : "");
            if (withErrors)
                text += fmt::format("{:<10}  ", first && candidate.standardError
                                                    ? fmt::format("{:.2g}", *candidate.standardError)
                                                    : "");
            text += fmt::format("{:<{}}  {:<11.6f}", variable.states[c], stateWidth,
                                candidate.probabilities.probabilities[c]);
            const EstimatedDistribution& given = candidate.targetGiven[c];
            for (int t = 0; t < targetStates; ++t)
                text += fmt::format("  {:<{}}", given.probabilities.empty() ? "-" : fmt::format("{:.6f}", given.probabilities[t]),
                                    targetName(report, t).size());
            text.erase(text.find_last_not_of(' ') + 1);
            text += "\n";
        }
    }
    return text;
}

ordered_json distributionJson(const EstimatedDistribution& distribution) {
    if (distribution.probabilities.empty()) return nullptr;
    ordered_json json{{"probabilities", distribution.probabilities}};
    if (!distribution.standardErrors.empty()) json["standard_errors"] = distribution.standardErrors;
    return json;
}

ordered_json candidateJson(const ImpactReport& report, const CandidateImpact& candidate) {
    const samplenet::Variable& variable = report.network.variables[candidate.variable];
    ordered_json json{{"node", variable.name}, {"mutual_information_bits", candidate.mutualInformationBits}};
    if (candidate.standardError) json["standard_error"] = *candidate.standardError;
    json["expected_entropy_bits"] = expectedEntropy(report, candidate);
    json["states"] = variable.states;
    json["posterior"] = distributionJson(candidate.probabilities);
    auto& given = json["target_given_state"] = ordered_json::array();
    for (const EstimatedDistribution& distribution : candidate.targetGiven) given.push_back(distributionJson(distribution));
    return json;
}

std::string jsonReport(const ImpactReport& report) {
    const samplenet::EvidenceImpact& impact = report.impact;
    const samplenet::InferenceOptions& used = impact.used;
    ordered_json json;
    json["network"] = report.source;
    json["algorithm"] = samplenet::algorithmName(used.algorithm);
    if (!impact.choice.empty()) json["chosen_because"] = impact.choice;
    if (samplenet::algorithmEntry(used.algorithm).samples) {
        json["samples"] = samplenet::drawsToTargetUncapped(used) ? nlohmann::json(nullptr)
                                                                 : nlohmann::json(samplenet::sampleLimit(used));
        if (used.targetError) json["target_error"] = *used.targetError;
        json["seed"] = used.seed.value_or(0);
    }
    json["runs"] = impact.runs;
    json["seconds"] = impact.seconds;
    if (!impact.warnings.empty()) json["warnings"] = impact.warnings;
    json["evidence"] = evidenceJson(report.network, report.evidence);
    addInterventionsJson(json, report.network, report.interventions);
    const samplenet::Variable& target = report.network.variables[impact.target];
    json["target"] = {{"node", target.name},
                      {"states", target.states},
                      {"posterior", distributionJson(impact.targetPosterior)},
                      {"entropy_bits", impact.targetEntropyBits}};
    auto& candidates = json["candidates"] = ordered_json::array();
    for (std::size_t i = 0; i < shownCount(report); ++i) candidates.push_back(candidateJson(report, impact.candidates[i]));
    return json.dump(2) + "\n";
}

// One row per candidate state, the candidate's figures repeated.
std::string csvReport(const ImpactReport& report) {
    const samplenet::EvidenceImpact& impact = report.impact;
    const int targetStates = report.network.variables[impact.target].stateCount();
    std::string text = "node,mutual_information_bits,standard_error,state,probability,probability_standard_error";
    for (int t = 0; t < targetStates; ++t) text += "," + csvField(targetName(report, t));
    text += "\n";
    for (std::size_t i = 0; i < shownCount(report); ++i) {
        const CandidateImpact& candidate = impact.candidates[i];
        const samplenet::Variable& variable = report.network.variables[candidate.variable];
        for (int c = 0; c < variable.stateCount(); ++c) {
            const EstimatedDistribution& probabilities = candidate.probabilities;
            text += fmt::format("{},{},{},{},{},{}", csvField(variable.name), candidate.mutualInformationBits,
                                candidate.standardError ? fmt::format("{}", *candidate.standardError) : "",
                                csvField(variable.states[c]), probabilities.probabilities[c],
                                probabilities.standardErrors.empty() ? ""
                                                                     : fmt::format("{}", probabilities.standardErrors[c]));
            const EstimatedDistribution& given = candidate.targetGiven[c];
            for (int t = 0; t < targetStates; ++t)
                text += given.probabilities.empty() ? "," : fmt::format(",{}", given.probabilities[t]);
            text += "\n";
        }
    }
    return text;
}

}  // namespace

std::optional<ImpactFormat> impactFormatNamed(std::string_view name) {
    if (name == "table") return ImpactFormat::Table;
    if (name == "json") return ImpactFormat::Json;
    if (name == "csv") return ImpactFormat::Csv;
    return std::nullopt;
}

std::string formatImpact(const ImpactReport& report, ImpactFormat format) {
    switch (format) {
        case ImpactFormat::Table: return tableReport(report);
        case ImpactFormat::Json: return jsonReport(report);
        case ImpactFormat::Csv: return csvReport(report);
    }
    return {};
}

}  // namespace samplenet_cli
