#include "lib/inference/automatic_choice.h"

#include <fmt/format.h>

#include <algorithm>

#include "lib/exact/exact_cost.h"
#include "lib/exact/exact_query.h"
#include "lib/exact/junction_tree.h"
#include "lib/model/errors.h"

namespace samplenet {

namespace {

// The time auto allows exact inference when the options set no budget.
constexpr double kDefaultExactSeconds = 10.0;
constexpr double kDefaultTargetError = 0.01;
constexpr int kLongPropagation = 16;

InferenceOptions withAlgorithm(InferenceOptions options, Algorithm algorithm) {
    options.algorithm = algorithm;
    return options;
}

AutomaticRun attempt(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                     std::string why) {
    AutomaticRun run{infer(network, evidence, options), options};
    run.result.choice = std::move(why);
    return run;
}

}  // namespace

ExactVerdict judgeExactInference(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    CancellationPoller poller(options.cancellation);
    CliqueStatistics cliques;
    try {
        cliques = estimateQueryCliques(network, evidence, options.queried,
                                       ExactOptions{options.memoryLimitBytes, [&poller] { poller.step(); }});
    } catch (const EvidenceError&) {
        // Evidence that is malformed or empties a table: exact inference
        // says which, and quickly.
        return {true, "the evidence rules out a table entry that it needs"};
    }
    if (cliques.exceedsLimit || cliques.estimatedBytes > options.memoryLimitBytes)
        return {false, "the junction tree exceeds the memory limit of " + describeBytes(options.memoryLimitBytes)};
    const double seconds = predictedExactSeconds(cliques);
    const double budget = options.maxSeconds.value_or(kDefaultExactSeconds);
    const std::string figures =
        fmt::format("{} table entries ({}, {}, the budget {:g} s)", cliques.totalEntries,
                    describeBytes(cliques.estimatedBytes), describePredictedSeconds(seconds), budget);
    if (seconds > budget) return {false, "the junction tree holds " + figures};
    return {true, "the junction tree holds " + figures};
}

AutomaticRun inferAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    const ExactVerdict exact = judgeExactInference(network, evidence, options);
    if (exact.quick) return attempt(network, evidence, withAlgorithm(options, Algorithm::Exact), "exact: " + exact.why);
    return sampleAutomatically(network, evidence, options, exact.why);
}

AutomaticRun sampleAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                 const std::string& tooLarge) {
    InferenceOptions sampling = withAlgorithm(options, Algorithm::Epis);
    if (!sampling.targetError) sampling.targetError = kDefaultTargetError;
    try {
        return attempt(network, evidence, sampling, "epis: " + tooLarge);
    } catch (const InferenceError&) {
    }
    sampling.epis.propagationLength = std::max(kLongPropagation, 4 * options.epis.propagationLength);
    try {
        return attempt(network, evidence, sampling,
                       "epis with " + std::to_string(sampling.epis.propagationLength) +
                           " propagation rounds: " + tooLarge + ", and epis found no compatible sample with " +
                           std::to_string(options.epis.propagationLength));
    } catch (const InferenceError&) {
    }
    return attempt(network, evidence, withAlgorithm(options, Algorithm::Lbp),
                   "lbp: " + tooLarge + ", and epis found no compatible sample even with a longer propagation");
}

}  // namespace samplenet
