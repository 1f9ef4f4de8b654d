#include "lib/inference/automatic_choice.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <vector>

#include "lib/exact/exact_cost.h"
#include "lib/exact/exact_query.h"
#include "lib/exact/junction_tree.h"
#include "lib/inference/answer_reliability.h"
#include "lib/inference/named_run.h"
#include "lib/model/errors.h"
#include "lib/util/byte_size.h"

namespace samplenet {

namespace {

// The time auto allows exact inference, and sampling, when the options set
// no budget: that of a sampler run to a target error.
constexpr double kDefaultSeconds = kDefaultTargetSeconds;
// An escalation step needs at least this to draw a useful sample count.
constexpr double kLeastSecondsForAStep = 0.05;
constexpr int kMoreSamples = 10;
constexpr int kMostSamples = 1 << 30;
constexpr double kDefaultTargetError = 0.01;
constexpr int kLongPropagation = 16;
constexpr double kPilotStepShare = 0.75;

InferenceOptions withAlgorithm(InferenceOptions options, Algorithm algorithm) {
    options.algorithm = algorithm;
    return options;
}

InferenceResult attempt(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                        std::string why) {
    InferenceResult result = runNamedAlgorithm(network, evidence, options);
    result.choice = std::move(why);
    return result;
}

// The samplers auto tries, in order, until one gives a reliable answer:
// the better of converged-propagation and mini-bucket sampling by their
// pilot runs (the first survives unlikely findings, the second
// determinism; each collapses where the other does not), then (where a
// sample count caps the runs) the same with ten times the samples, then
// EPIS-BN, then EPIS-BN with a longer propagation. Joint posteriors and
// best samples come from EPIS-BN alone, so it starts there.
std::vector<InferenceOptions> escalation(const InferenceOptions& options) {
    const bool episOnly = !options.joint.empty() || options.keepBestSamples > 0;
    InferenceOptions first = withAlgorithm(options, episOnly ? Algorithm::Epis : Algorithm::Pilot);
    if (!first.targetError) first.targetError = kDefaultTargetError;
    std::vector<InferenceOptions> steps{first};
    if (const auto samples = options.samples) {
        InferenceOptions more = first;
        more.samples = *samples > kMostSamples / kMoreSamples ? kMostSamples : *samples * kMoreSamples;
        steps.push_back(more);
    }
    InferenceOptions propagated = withAlgorithm(first, Algorithm::Epis);
    InferenceOptions longPropagation = propagated;
    longPropagation.epis.propagationLength = std::max(kLongPropagation, 4 * options.epis.propagationLength);
    if (!episOnly) steps.push_back(propagated);
    steps.push_back(longPropagation);
    return steps;
}

// The share of what is left of the budget that an uncapped step gets: the
// piloted samplers, which already choose between two proposals, most of
// it; the others half (the last one all of it).
double shareOfWhatIsLeft(const InferenceOptions& step, bool last) {
    if (last || !drawsToTargetUncapped(step)) return 1.0;
    return step.algorithm == Algorithm::Pilot ? kPilotStepShare : 0.5;
}

// "at most 100000 samples, 16 propagation rounds"
std::string describeAttempt(const InferenceOptions& options) {
    std::string text = drawsToTargetUncapped(options)
                           ? fmt::format("no sample cap, {:.3g} s", options.maxSeconds.value_or(kDefaultSeconds))
                           : fmt::format("at most {} samples", sampleLimit(options));
    if (options.algorithm == Algorithm::Epis)
        text += fmt::format(", {} propagation rounds", options.epis.propagationLength);
    return text;
}

// "epis (...): 12.3 effective samples of 100000, target not met"
std::string describeAttempt(const InferenceOptions& options, const InferenceResult& result) {
    const SamplingReport& sampling = *result.sampling;
    return fmt::format("{} ({}): {:.1f} effective samples of {}, target {} {}", algorithmName(options.algorithm),
                       describeAttempt(options), sampling.errors.effectiveSampleSize, sampling.drawn,
                       *options.targetError, sampling.targetMet == true ? "met" : "not met");
}

std::string triedBefore(const std::vector<std::string>& tried) {
    return tried.empty() ? std::string() : fmt::format(" (tried before: {})", fmt::join(tried, "; "));
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
    const double budget = options.maxSeconds.value_or(kDefaultSeconds);
    const std::string figures =
        fmt::format("{} table entries ({}, {}, the budget {:g} s)", cliques.totalEntries,
                    describeBytes(cliques.estimatedBytes), describePredictedSeconds(seconds), budget);
    if (seconds > budget) return {false, "the junction tree holds " + figures};
    return {true, "the junction tree holds " + figures};
}

InferenceResult inferAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    const ExactVerdict exact = judgeExactInference(network, evidence, options);
    if (exact.quick) return attempt(network, evidence, withAlgorithm(options, Algorithm::Exact), "exact: " + exact.why);
    return sampleAutomatically(network, evidence, options, exact.why);
}

InferenceResult sampleAutomatically(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                 const std::string& tooLarge) {
    const auto start = std::chrono::steady_clock::now();
    const double budget = options.maxSeconds.value_or(kDefaultSeconds);
    std::optional<InferenceResult> best;  // of the unreliable answers, the one worth most samples
    std::vector<std::string> tried;
    const std::vector<InferenceOptions> steps = escalation(options);
    for (std::size_t k = 0; k < steps.size(); ++k) {
        InferenceOptions step = steps[k];
        // A step that a sample count caps may spend what is left of the
        // budget, as it ends by its count; an uncapped one ends only with
        // its time, so it gets a share of what is left: the steps come in
        // the order most likely to succeed, and the later ones keep some
        // time. Escalation stops when nothing is left.
        const double left = budget - std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (!tried.empty() && left <= kLeastSecondsForAStep) break;
        step.maxSeconds = std::max(left * shareOfWhatIsLeft(step, k + 1 == steps.size()), kLeastSecondsForAStep);
        const std::string name(algorithmName(step.algorithm));
        try {
            InferenceResult run = runNamedAlgorithm(network, evidence, step);
            if (judgeReliability(run).reliable) {
                // The piloted samplers say which proposal drew.
                const std::string drew = run.choice.empty() ? "" : "; drew from " + run.choice;
                run.choice = name + ": " + tooLarge + drew + triedBefore(tried);
                return run;
            }
            tried.push_back(describeAttempt(step, run));
            if (!best || run.sampling->errors.effectiveSampleSize > best->sampling->errors.effectiveSampleSize)
                best = std::move(run);
        } catch (const InferenceError& error) {
            tried.push_back(name + " (" + describeAttempt(step) + "): " + error.what());
        }
    }
    if (best) {
        best->choice = std::string(algorithmName(best->settings.algorithm)) + ": " + tooLarge +
                              "; no sampler gave a reliable answer, this one is worth the most samples (tried: " +
                              fmt::format("{}", fmt::join(tried, "; ")) + ")";
        return *std::move(best);
    }
    return attempt(network, evidence, withAlgorithm(options, Algorithm::Lbp),
                   "lbp: " + tooLarge + ", and no sampler found a sample compatible with the evidence" +
                       triedBefore(tried));
}

}  // namespace samplenet
