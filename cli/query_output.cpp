#include "cli/query_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/intervention_options.h"
#include "lib/inference/answer_reliability.h"

namespace samplenet_cli {

namespace {

using samplenet::Explanation;
using samplenet::JointPosterior;

// "# joint posterior by exact" and, for the automatic choice, why.
template <class Answer>
std::string headingLines(const QueryReportContext& context, const samplenet::QueryRun<Answer>& run,
                         const char* query) {
    std::string text = fmt::format("# {}\n# {} by {}\n", context.source, query, samplenet::algorithmName(run.algorithm));
    text += interventionHeader(context.network, context.interventions);
    if (!run.choice.empty()) text += fmt::format("# chosen: {}\n", run.choice);
    if (const auto& sampling = run.sampling) {
        text += fmt::format("# error: every entry within {:.2g} (95%), effective sample size {:.0f} of {} samples",
                            sampling->errors.errorBound, sampling->errors.effectiveSampleSize, sampling->drawn);
        if (sampling->targetMet) text += *sampling->targetMet ? ", target error met" : ", target error not met";
        text += "\n";
        if (const auto reliability = samplenet::judgeReliability(*sampling); !reliability.reliable)
            text += "# warning: " + reliability.warning + "\n";
    }
    return text;
}

template <class Answer>
nlohmann::ordered_json jsonHeading(const QueryReportContext& context, const samplenet::QueryRun<Answer>& run) {
    nlohmann::ordered_json json;
    json["network"] = context.source;
    json["algorithm"] = samplenet::algorithmName(run.algorithm);
    if (!run.choice.empty()) json["chosen_because"] = run.choice;
    if (const auto& sampling = run.sampling) {
        json["samples_drawn"] = sampling->drawn;
        json["effective_sample_size"] = sampling->errors.effectiveSampleSize;
        json["error_bound"] = sampling->errors.errorBound;
        if (sampling->targetMet) json["target_met"] = *sampling->targetMet;
        const samplenet::Reliability reliability = samplenet::judgeReliability(*sampling);
        json["reliable"] = reliability.reliable;
        if (!reliability.reliable) json["warning"] = reliability.warning;
    }
    if (run.algorithm != samplenet::Algorithm::Exact)
        json["seed"] = run.seed ? nlohmann::ordered_json(*run.seed) : nlohmann::ordered_json(nullptr);
    json["seconds"] = run.seconds;
    return json;
}

std::string probabilityText(double logProbability) {
    const double log10P = logProbability / std::log(10.0);
    return fmt::format("{:.6g} (log10 {:.4f})", std::pow(10.0, log10P), log10P);
}

// An explanation of chosen nodes alone leaves the others' states at -1.
bool explains(const Explanation& explanation, int v) { return explanation.states[v] >= 0; }

bool explainsEveryNode(const Explanation& explanation) {
    return std::all_of(explanation.states.begin(), explanation.states.end(), [](int s) { return s >= 0; });
}

std::string explanationTable(const QueryReportContext& context, const samplenet::QueryRun<Explanation>& run) {
    const Explanation& explanation = run.answer;
    std::string text =
        headingLines(context, run,
                     explainsEveryNode(explanation) ? "most probable explanation"
                                                    : "most probable states of the queried nodes (the others summed out)");
    if (explanation.estimated) {
        text += fmt::format("# P(x, e) ~ {}, estimated, standard error of ln {:.2g}\n",
                            probabilityText(explanation.logJoint), explanation.logJointError);
        text += fmt::format("# P(x | e) ~ {}, estimated, standard error of ln {:.2g}\n",
                            probabilityText(explanation.logPosterior), explanation.logPosteriorError);
    } else {
        text += fmt::format("# P(x, e) = {}{}\n", probabilityText(explanation.logJoint),
                            explanation.exact ? "" : ": the best found, a lower bound on the most probable");
        text += fmt::format("# P(x | e) {} {}\n", explanation.exact ? "=" : "~",
                            probabilityText(explanation.logPosterior));
    }
    if (!explanation.exact && !explanation.estimated)
        text += fmt::format("# the local search changed {} nodes of the best sample\n", explanation.searchChanges);
    std::size_t width = 4;
    for (int v = 0; v < context.network.size(); ++v)
        if (explains(explanation, v)) width = std::max(width, context.network.variables[v].name.size());
    text += fmt::format("{:<{}}  state\n", "node", width);
    for (int v = 0; v < context.network.size(); ++v) {
        if (!explains(explanation, v)) continue;
        const auto& variable = context.network.variables[v];
        const char* mark = context.evidence.hard.count(v)  ? "  (observed)"
                           : context.interventions.count(v) ? "  (set)"
                                                            : "";
        text += fmt::format("{:<{}}  {}{}\n", variable.name, width, variable.states[explanation.states[v]], mark);
    }
    return text;
}

std::string explanationJson(const QueryReportContext& context, const samplenet::QueryRun<Explanation>& run) {
    const Explanation& explanation = run.answer;
    nlohmann::ordered_json json = jsonHeading(context, run);
    json["exact"] = explanation.exact;
    json["ln_joint_probability"] = explanation.logJoint;
    json["ln_posterior_probability"] = explanation.logPosterior;
    if (explanation.estimated) {
        json["estimated"] = true;
        json["ln_joint_probability_standard_error"] = explanation.logJointError;
        json["ln_posterior_probability_standard_error"] = explanation.logPosteriorError;
        json["local_search_moves"] = explanation.searchChanges;
    } else if (!explanation.exact) {
        json["local_search_changes"] = explanation.searchChanges;
    }
    json["evidence"] = evidenceJson(context.network, context.evidence);
    addInterventionsJson(json, context.network, context.interventions);
    auto& states = json["explanation"] = nlohmann::ordered_json::object();
    for (int v = 0; v < context.network.size(); ++v)
        if (explains(explanation, v))
            states[context.network.variables[v].name] = context.network.variables[v].states[explanation.states[v]];
    return json.dump(2) + "\n";
}

// The explanation's probabilities are columns repeated on every row, as
// P(evidence) is in the posteriors' CSV, so that the file stays one table.
// Estimated probabilities add their standard errors.
std::string explanationCsv(const QueryReportContext& context, const Explanation& explanation) {
    std::string text = "node,state,observed,ln_joint_probability,ln_posterior_probability";
    text += explanation.estimated ? ",ln_joint_probability_standard_error,ln_posterior_probability_standard_error\n"
                                  : "\n";
    for (int v = 0; v < context.network.size(); ++v) {
        if (!explains(explanation, v)) continue;
        const auto& variable = context.network.variables[v];
        text += fmt::format("{},{},{},{},{}", csvField(variable.name), csvField(variable.states[explanation.states[v]]),
                            context.evidence.hard.count(v) ? "true" : "false", explanation.logJoint,
                            explanation.logPosterior);
        text += explanation.estimated
                    ? fmt::format(",{},{}\n", explanation.logJointError, explanation.logPosteriorError)
                    : "\n";
    }
    return text;
}

// The states, probability and standard error (0 when exact) of each
// combination of the joint table, in its order.
template <class Visit>
void forEachCombination(const QueryReportContext& context, const JointPosterior& joint, Visit visit) {
    std::vector<int> states(joint.variables.size(), 0);
    for (std::size_t k = 0; k < joint.probabilities.size(); ++k) {
        visit(states, joint.probabilities[k], joint.standardErrors.empty() ? 0.0 : joint.standardErrors[k]);
        for (std::size_t d = states.size(); d-- > 0;) {
            if (++states[d] < context.network.variables[joint.variables[d]].stateCount()) break;
            states[d] = 0;
        }
    }
}

std::string jointTable(const QueryReportContext& context, const samplenet::QueryRun<JointPosterior>& run) {
    const JointPosterior& joint = run.answer;
    const bool sampled = !joint.standardErrors.empty();
    std::string text = headingLines(context, run, "joint posterior");
    std::vector<std::size_t> widths;
    for (int v : joint.variables) {
        const auto& variable = context.network.variables[v];
        std::size_t width = variable.name.size();
        for (const auto& state : variable.states) width = std::max(width, state.size());
        widths.push_back(width);
        text += fmt::format("{:<{}}  ", variable.name, width);
    }
    text += sampled ? "probability  std. error\n" : "probability\n";
    forEachCombination(context, joint, [&](const std::vector<int>& states, double probability, double error) {
        for (std::size_t d = 0; d < states.size(); ++d)
            text += fmt::format("{:<{}}  ", context.network.variables[joint.variables[d]].states[states[d]], widths[d]);
        text += sampled ? fmt::format("{:<11.6f}  {:.6f}\n", probability, error) : fmt::format("{:.6f}\n", probability);
    });
    return text;
}

std::string jointJson(const QueryReportContext& context, const samplenet::QueryRun<JointPosterior>& run) {
    const JointPosterior& joint = run.answer;
    nlohmann::ordered_json json = jsonHeading(context, run);
    json["evidence"] = evidenceJson(context.network, context.evidence);
    addInterventionsJson(json, context.network, context.interventions);
    auto& nodes = json["nodes"] = nlohmann::ordered_json::array();
    for (int v : joint.variables)
        nodes.push_back({{"node", context.network.variables[v].name}, {"states", context.network.variables[v].states}});
    json["probabilities"] = joint.probabilities;  // the last node's states vary fastest
    if (!joint.standardErrors.empty()) json["standard_errors"] = joint.standardErrors;
    return json.dump(2) + "\n";
}

std::string jointCsv(const QueryReportContext& context, const JointPosterior& joint) {
    const bool sampled = !joint.standardErrors.empty();
    std::string text;
    for (int v : joint.variables) text += csvField(context.network.variables[v].name) + ",";
    text += sampled ? "probability,standard_error\n" : "probability\n";
    forEachCombination(context, joint, [&](const std::vector<int>& states, double probability, double error) {
        for (std::size_t d = 0; d < states.size(); ++d)
            text += csvField(context.network.variables[joint.variables[d]].states[states[d]]) + ",";
        text += sampled ? fmt::format("{},{}\n", probability, error) : fmt::format("{}\n", probability);
    });
    return text;
}

}  // namespace

std::string formatExplanation(const QueryReportContext& context, const samplenet::QueryRun<Explanation>& run,
                              OutputFormat format) {
    if (format == OutputFormat::Json) return explanationJson(context, run);
    if (format == OutputFormat::Csv) return explanationCsv(context, run.answer);
    return explanationTable(context, run);
}

std::string formatJointPosterior(const QueryReportContext& context, const samplenet::QueryRun<JointPosterior>& run,
                                 OutputFormat format) {
    if (format == OutputFormat::Json) return jointJson(context, run);
    if (format == OutputFormat::Csv) return jointCsv(context, run.answer);
    return jointTable(context, run);
}

}  // namespace samplenet_cli
