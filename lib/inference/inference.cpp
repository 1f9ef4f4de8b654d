#include "lib/inference/inference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <chrono>
#include <functional>
#include <limits>
#include <utility>

#include "engine/samplenet.h"
#include "lib/exact/exact_query.h"
#include "lib/exact/junction_tree.h"
#include "lib/exact/saturating_arithmetic.h"
#include "lib/model/errors.h"
#include "lib/inference/automatic_choice.h"
#include "lib/model/evidence_check.h"
#include "lib/inference/likelihood_evidence.h"
#include "lib/inference/mini_bucket_run.h"
#include "lib/inference/network_adapter.h"
#include "lib/inference/propagated_sampling_run.h"
#include "lib/inference/sampling_tallies.h"
#include "lib/util/byte_size.h"

namespace samplenet {

namespace {

constexpr int kNoWeight = -5;
constexpr int kZeroBelief = -26;
constexpr double kMaxSeconds = 365.0 * 24 * 3600;

constexpr std::array<std::pair<Algorithm, std::string_view>, 7> kAlgorithmNames{{
    {Algorithm::Epis, "epis"},
    {Algorithm::Ais, "ais"},
    {Algorithm::Lbp, "lbp"},
    {Algorithm::Exact, "exact"},
    {Algorithm::Auto, "auto"},
    {Algorithm::MiniBucket, "wmb"},
    {Algorithm::Propagated, "bpis"},
}};

void checkOptions(const InferenceOptions& options) {
    if (options.samples && *options.samples < 1) throw std::invalid_argument("the number of samples must be at least 1");
    if (options.lbpIterations < 1) throw std::invalid_argument("the number of iterations must be at least 1");
    if (options.lbpTolerance && !(*options.lbpTolerance > 0.0))
        throw std::invalid_argument("the tolerance must be above 0");
    if (!(options.damping >= 0.0 && options.damping < 1.0)) throw std::invalid_argument("the damping must lie in [0, 1)");
    if (options.jobs < 1) throw std::invalid_argument("the number of jobs must be at least 1");
    if (options.targetError && !(*options.targetError > 0.0 && *options.targetError < 1.0))
        throw std::invalid_argument("the target error must lie between 0 and 1");
    if (options.jobs > sampleLimit(options))
        throw std::invalid_argument("the number of jobs (" + std::to_string(options.jobs) +
                                    ") must not exceed the number of samples (" +
                                    std::to_string(sampleLimit(options)) + ")");
    // A bound keeps the deadline within the clock's range.
    if (options.maxSeconds && !(*options.maxSeconds > 0.0 && *options.maxSeconds <= kMaxSeconds))
        throw std::invalid_argument("the time budget must be above 0 and at most a year of seconds");
    const EpisOptions& epis = options.epis;
    if (epis.propagationLength < 0) throw std::invalid_argument("the propagation length must not be negative");
    if (epis.stateCountLimit1 < 1 || epis.stateCountLimit2 < epis.stateCountLimit1 ||
        epis.stateCountLimit3 < epis.stateCountLimit2)
        throw std::invalid_argument("the state-count limits must be positive and non-decreasing");
    for (double epsilon : {epis.epsilon1, epis.epsilon2, epis.epsilon3, epis.epsilon4})
        if (!(epsilon >= 0.0 && epsilon < 1.0)) throw std::invalid_argument("epsilons must lie in [0, 1)");
}

// Loopy belief propagation takes its round count from the propagation
// length of the record.
EpisParams engineParams(const InferenceOptions& options) {
    const EpisOptions& epis = options.epis;
    const int rounds = options.algorithm == Algorithm::Lbp ? options.lbpIterations : epis.propagationLength;
    return EpisParams{rounds,        epis.stateCountLimit1, epis.stateCountLimit2, epis.stateCountLimit3,
                      epis.epsilon1, epis.epsilon2,         epis.epsilon3,         epis.epsilon4};
}

using Driver = std::function<int(SampleNet&)>;

// One engine run in the order the engine requires; the importance
// parameters are cleared on every way out.
int runDriver(NetworkAdapter& adapter, const Driver& driver) {
    SampleNet net(adapter);
    struct ClearOnExit {
        SampleNet& net;
        ~ClearOnExit() { net.ClearImportanceParameter(); }
    } clear{net};
    net.SetParameterForImportanceSampling();
    return driver(net);
}

std::string quotedName(const Network& network, int v) { return "\"" + network.variables[v].name + "\""; }

// Names the variable a failure is about; a likelihood child stands for the
// variable that carries the likelihood.
std::string failedName(const Network& network, const Network& model, int v) {
    if (v >= network.size()) v = model.variables[v].parents.front();
    return quotedName(network, v);
}

// Copies of the network's tables a run makes, about four: the engine's
// importance table and what the samplers add up, and the sampling plan's
// two doubles per entry (or, for LBP, the copy of a network that validation
// renormalises). Exact inference measures its clique tables once the
// network is known to be valid.
void checkTableCopies(const Network& network, const InferenceOptions& options) {
    std::size_t entries = 0;
    for (const Variable& variable : network.variables) entries = saturatingAdd(entries, variable.table.size());
    const std::size_t copies = options.algorithm == Algorithm::Exact ? 1 : 4;
    const std::size_t bytes = saturatingMultiply(copies * sizeof(double), entries);
    if (bytes > options.memoryLimitBytes)
        throw NetworkTooLargeError(std::string(algorithmName(options.algorithm)) + " needs about " + describeBytes(bytes) +
                                   " for its copies of the network's tables, above the memory limit of " +
                                   describeBytes(options.memoryLimitBytes) + "; raise it with --memory-limit");
}

std::string noWeightMessage(const std::string& variable, const InferenceOptions& options,
                            const std::optional<SamplingReport>& sampling) {
    if (sampling && sampling->lostToRange > 0)
        return "no sample kept a weight within the range of double: " + std::to_string(sampling->lostToRange) +
               " of " + std::to_string(sampling->drawn) + " samples were lost to underflow or overflow and " +
               std::to_string(sampling->impossible) + " were incompatible with the evidence";
    // A time budget can end a run before the requested count: say what was drawn.
    const long drawn = sampling ? sampling->drawn : sampleLimit(options);
    return "no sample was compatible with the evidence: " + variable + " got no weight from " +
           std::to_string(drawn) + " samples (the evidence may be too unlikely for this sample count)";
}

InferenceResult engineRun(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    const Network* model = &network;
    Network withLikelihoods;
    std::map<int, int> observed = evidence.hard;
    if (!evidence.likelihood.empty()) {
        withLikelihoods = network;
        observed = addLikelihoodChildren(withLikelihoods, evidence);
        model = &withLikelihoods;
    }

    RunClock clock(options.seed, sampleLimit(options), options.progress, timeBudget(options), options.cancellation);
    NetworkAdapter adapter(*model, observed, engineParams(options), sampleLimit(options), clock, options.jobs);
    std::optional<SamplingReport> sampling;
    std::optional<PropagationReport> propagation;
    Driver driver = [&](SampleNet& net) {
        return runLoopyPropagation(net, options.lbpTolerance, propagation.emplace());
    };
    if (options.algorithm != Algorithm::Lbp) {
        SamplingSettings settings{.jobs = options.jobs,
                                  .generator = options.generator,
                                  .targetError = options.targetError,
                                  .keepGoing = [&clock](long drawn) { return clock.poll(drawn); },
                                  .keepBestSamples = options.keepBestSamples,
                                  .tallies = {}};
        const ImportanceSampler sampler =
            options.algorithm == Algorithm::Ais ? ImportanceSampler::Ais : ImportanceSampler::Epis;
        // The engine orders the nodes as it starts: tallies use its order.
        driver = [&, settings, sampler](SampleNet& net) mutable {
            settings.tallies = talliesFor(options, adapter);
            return runImportanceSampler(net, sampler, settings, sampling.emplace());
        };
    }
    const int code = runDriver(adapter, driver);
    clock.finish();
    const int failed = code == 0 ? -1 : adapter.recordFailure();

    InferenceResult result;
    result.seconds = clock.seconds();
    if (sampling) {
        result.samplesDrawn = sampling->drawn;
        result.standardErrors.resize(network.size());
        result.bestSamples.assign(sampling->best.size(), std::vector<int>(network.size()));
        for (int node = 0; node < model->size(); ++node)
            if (const int v = adapter.variableAt(node); v < network.size()) {
                result.standardErrors[v] = sampling->errors.standardErrors[node];
                for (std::size_t k = 0; k < sampling->best.size(); ++k)
                    result.bestSamples[k][v] = sampling->best[k].states[node];
            }
        if (sampling->errors.effectiveSampleSize > 0.0) {
            // Likelihood children scale each likelihood to a largest factor
            // of 1; the evidence's probability uses the factors as given.
            double logP = sampling->errors.logMeanWeight;
            for (const auto& [v, factors] : evidence.likelihood)
                logP += std::log(*std::max_element(factors.begin(), factors.end()));
            result.logProbabilityOfEvidence = logP;
            result.probabilityOfEvidenceRelativeError = sampling->errors.meanWeightRelativeError;
        }
    }
    result.sampling = sampling;
    result.propagation = propagation;
    for (int v = 0; v < network.size(); ++v) {
        result.posteriors.push_back(adapter.beliefs(v));
        // Loopy belief propagation writes every belief at once without
        // validating any, so success alone vouches for them.
        result.valid.push_back(code == 0 || adapter.valid(v));
    }
    if (sampling) keepTallied(options, *sampling, result);
    if (code == 0) return result;
    if (code == kNoWeight)
        throw InferenceError(noWeightMessage(failedName(network, *model, failed), options, sampling), std::move(result));
    if (code == kZeroBelief)
        throw InferenceError(
            "belief propagation collapsed: its messages left a variable with no state compatible with the evidence, "
            "which loopy propagation can do even where the evidence is possible; exact inference or a sampler "
            "(-a wmb) can answer",
            std::move(result));
    throw InferenceError("inference failed with engine code " + std::to_string(code), std::move(result));
}

InferenceResult exactRun(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    const auto start = std::chrono::steady_clock::now();
    CancellationPoller poller(options.cancellation);
    const std::function<void()> checkpoint = [&poller] { poller.step(); };
    ExactResult exact;
    try {
        exact = inferExactly(network, evidence, options.queried, ExactOptions{options.memoryLimitBytes, checkpoint});
    } catch (const EvidenceError& error) {
        // The evidence's shape was checked before: what is left is evidence
        // of probability zero.
        throw InferenceError(error.what(), InferenceResult{});
    }
    InferenceResult result;
    result.posteriors = std::move(exact.posteriors);
    for (const auto& posterior : result.posteriors) result.valid.push_back(!posterior.empty());
    result.logProbabilityOfEvidence = exact.logProbabilityOfEvidence;
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

}  // namespace

int sampleLimit(const InferenceOptions& options) {
    if (options.samples) return *options.samples;
    return options.targetError ? std::numeric_limits<int>::max() : kDefaultSamples;
}

bool drawsToTargetUncapped(const InferenceOptions& options) { return options.targetError && !options.samples; }

std::optional<double> timeBudget(const InferenceOptions& options) {
    if (options.maxSeconds || !drawsToTargetUncapped(options)) return options.maxSeconds;
    return kDefaultTargetSeconds;
}

std::string_view algorithmName(Algorithm algorithm) {
    for (const auto& [value, name] : kAlgorithmNames)
        if (value == algorithm) return name;
    return "unknown";
}

std::optional<Algorithm> algorithmNamed(std::string_view name) {
    for (const auto& [value, known] : kAlgorithmNames)
        if (known == name) return value;
    return std::nullopt;
}

InferenceResult infer(const Network& given, const Evidence& evidence, const InferenceOptions& options) {
    checkOptions(options);
    // Each step of the automatic choice checks what it runs.
    if (options.algorithm == Algorithm::Auto) return inferAutomatically(given, evidence, options).result;
    checkTableCopies(given, options);
    // The engine trusts what it is given, so a network built in code is
    // checked here like one read from a file; it is copied only when the
    // check changes it (columns to renormalise): on a large network the copy
    // would be the size of the whole network again.
    Network renormalised;
    const Network* checked = &given;
    if (!isValidAsIs(given)) {
        renormalised = given;
        validate(renormalised);
        checked = &renormalised;
    }
    const Network& network = *checked;
    checkEvidenceShape(network, evidence);
    checkTallies(network, options);
    if (const auto v = findImpossibleVariable(network, evidence))
        throw InferenceError("the evidence is impossible under the model: no state of " + quotedName(network, *v) +
                                 " is compatible with it",
                             InferenceResult{});
    switch (options.algorithm) {
        case Algorithm::Epis:
        case Algorithm::Ais:
        case Algorithm::Lbp: return engineRun(network, evidence, options);
        case Algorithm::Exact: return exactRun(network, evidence, options);
        case Algorithm::MiniBucket: return inferByMiniBuckets(network, evidence, options);
        case Algorithm::Propagated: return inferByPropagatedImportance(network, evidence, options);
        case Algorithm::Auto: break;
    }
    throw std::invalid_argument("unknown algorithm");
}

}  // namespace samplenet
