#include "lib/inference/automatic_choice.h"

#include <algorithm>

#include "lib/exact/junction_tree.h"

namespace samplenet {

namespace {

// Clique tables up to this many entries take well under a second.
constexpr std::size_t kQuickExactEntries = std::size_t{1} << 24;
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

ExactVerdict judgeExactInference(const Network& network, const InferenceOptions& options) {
    CancellationPoller poller(options.cancellation);
    const CliqueStatistics cliques =
        estimateCliques(network, ExactOptions{options.memoryLimitBytes, [&poller] { poller.step(); }});
    if (cliques.exceedsLimit || cliques.estimatedBytes > options.memoryLimitBytes)
        return {false, "the junction tree exceeds the memory limit"};
    if (cliques.totalEntries > kQuickExactEntries) return {false, "the junction tree is too large to be quick"};
    return {true, "the junction tree holds " + std::to_string(cliques.totalEntries) + " table entries"};
}

AutomaticRun inferAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    const ExactVerdict exact = judgeExactInference(network, options);
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
