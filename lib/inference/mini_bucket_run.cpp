#include "lib/inference/mini_bucket_run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

#include "lib/bucket/bucket_sampler.h"
#include "lib/bucket/mini_bucket_plan.h"
#include "lib/bucket/mini_bucket_schedule.h"
#include "lib/exact/clique_potentials.h"
#include "lib/exact/junction_tree.h"
#include "lib/exact/relevant_factors.h"
#include "lib/exact/saturating_arithmetic.h"
#include "lib/exact/triangulation.h"
#include "lib/model/errors.h"
#include "lib/sampling/generator_stream.h"
#include "lib/sampling/parallel_draws.h"
#include "lib/util/byte_size.h"

namespace samplenet {

namespace {

// At most this many entries in all messages and the largest mini-bucket
// together, whatever the memory limit: set-up then stays around a second.
constexpr std::size_t kMostEntries = std::size_t{1} << 26;
constexpr std::chrono::milliseconds kPollInterval{1};

// The relevant model's tables and likelihoods, with their variables given
// as places in a min-fill elimination order.
struct OrderedModel {
    EliminationScopes scopes;
    std::vector<Factor> tables;
    std::vector<int> position;  // model variable -> place in the order
};

OrderedModel orderModel(const RelevantFactors& relevant) {
    std::vector<Factor> tables = relevant.model.factors;
    for (std::size_t v = 0; v < relevant.weights.size(); ++v)
        if (!relevant.weights[v].empty()) tables.push_back({{static_cast<int>(v)}, relevant.weights[v].data()});
    EliminationProblem problem{{}, relevant.model.stateCounts};
    for (const Factor& table : tables) problem.scopes.push_back(table.variables);
    const Triangulation order = triangulate(problem, EliminationCriterion::MinFill);

    OrderedModel ordered;
    ordered.position.resize(relevant.model.stateCounts.size());
    for (std::size_t k = 0; k < order.eliminated.size(); ++k) {
        ordered.position[order.eliminated[k]] = static_cast<int>(k);
        ordered.scopes.stateCounts.push_back(relevant.model.stateCounts[order.eliminated[k]]);
    }
    for (Factor& table : tables) {
        for (int& v : table.variables) v = ordered.position[v];
        std::vector<int> scope = table.variables;
        std::sort(scope.begin(), scope.end(), std::greater<>());
        ordered.scopes.scopes.push_back(std::move(scope));
    }
    ordered.tables = std::move(tables);
    return ordered;
}

SampleLayout layoutOf(const Network& network, const RelevantFactors& relevant, const OrderedModel& ordered,
                      const InferenceOptions& options) {
    const int n = network.size();
    SampleLayout layout;
    layout.observed = relevant.observed;
    layout.networkOf.resize(ordered.position.size());
    std::vector<char> inModel(n, 0);
    for (std::size_t v = 0; v < ordered.position.size(); ++v) {
        layout.networkOf[ordered.position[v]] = relevant.original[v];
        inModel[relevant.original[v]] = 1;
    }
    std::vector<int> stateCounts;
    for (const Variable& variable : network.variables) stateCounts.push_back(variable.stateCount());
    for (int v : network.topologicalOrder()) {
        if (inModel[v] || relevant.observed[v] >= 0) continue;
        const Variable& variable = network.variables[v];
        std::vector<int> family = variable.parents;
        family.push_back(v);
        const TableShape shape(family, stateCounts);
        layout.forward.push_back({v, variable.table.data(), static_cast<std::uint32_t>(layout.parents.size()),
                                  static_cast<std::uint32_t>(variable.parents.size()),
                                  static_cast<std::uint32_t>(variable.stateCount())});
        for (std::size_t k = 0; k < variable.parents.size(); ++k) {
            layout.parents.push_back(variable.parents[k]);
            layout.parentStrides.push_back(shape.strides[k]);
        }
    }
    std::vector<char> queried(n, options.queried.empty() ? 1 : 0);
    for (int v : options.queried) queried[v] = 1;
    for (int v = 0; v < n; ++v) {
        if (!queried[v] || relevant.observed[v] >= 0) continue;
        layout.tallies.push_back({v, layout.sumCount});
        layout.sumCount += static_cast<std::size_t>(stateCounts[v]);
    }
    return layout;
}

// One thread's share of the samples: its sampler, sums and place in the stream.
struct Job {
    BucketSampler sampler;
    WeightSums sums;
    std::uint64_t state;
};

std::uint64_t streamStart(const InferenceOptions& options) {
    const auto seed = options.seed ? static_cast<std::uint64_t>(*options.seed) : std::random_device{}();
    return generator_stream::mix(seed);
}

// The mini-buckets: of the size asked for, or the largest whose messages
// fit the memory the model's copied tables leave.
MiniBucketPlan planWithinMemory(const OrderedModel& ordered, std::size_t memoryLimitBytes,
                                std::optional<std::size_t> entriesPerMiniBucket, const std::function<void()>& checkpoint) {
    const std::size_t bytesPerEntry = sizeof(double);
    const std::size_t limitEntries = memoryLimitBytes / bytesPerEntry;
    std::size_t tableEntries = 0;
    for (const auto& scope : ordered.scopes.scopes)
        tableEntries = saturatingAdd(tableEntries, entriesOver(scope, ordered.scopes.stateCounts));
    if (tableEntries >= limitEntries)
        throw NetworkTooLargeError("wmb needs about " + describeBytes(tableEntries * bytesPerEntry) +
                                   " for its copies of the tables, above the memory limit of " +
                                   describeBytes(memoryLimitBytes) + "; raise it with --memory-limit");
    if (entriesPerMiniBucket) return planMiniBuckets(ordered.scopes, *entriesPerMiniBucket);
    std::optional<MiniBucketPlan> plan =
        planWithinBudget(ordered.scopes, std::min(kMostEntries, limitEntries - tableEntries), checkpoint);
    if (!plan)
        throw NetworkTooLargeError("wmb's smallest mini-buckets need more than the memory limit of " +
                                   describeBytes(memoryLimitBytes) + "; raise it with --memory-limit");
    return std::move(*plan);
}

// The log of the product of every likelihood's largest factor.
double logLikelihoodScale(const Evidence& evidence) {
    double scale = 0.0;
    for (const auto& [v, factors] : evidence.likelihood) scale += std::log(*std::max_element(factors.begin(), factors.end()));
    return scale;
}

// One job per thread, job k starting k / jobs of the way round the stream.
std::vector<Job> jobsOf(const MiniBucketSchedule& schedule, const SampleLayout& layout, const InferenceOptions& options) {
    const std::uint64_t start = streamStart(options);
    const std::uint64_t share = generator_stream::periodOf(Generator::Wide) / static_cast<std::uint64_t>(options.jobs);
    std::vector<Job> jobs;
    jobs.reserve(options.jobs);
    for (int k = 0; k < options.jobs; ++k)
        jobs.push_back(Job{BucketSampler(schedule, layout), WeightSums(layout.sumCount),
                           generator_stream::advance(start, share * static_cast<std::uint64_t>(k), Generator::Wide)});
    return jobs;
}

WeightSums mergedSums(const std::vector<Job>& jobs) {
    WeightSums sums = jobs.front().sums;
    for (std::size_t k = 1; k < jobs.size(); ++k) sums.merge(jobs[k].sums);
    return sums;
}

// Draws the samples on the jobs' threads, to the target error if one is
// set; whether it was met.
std::optional<bool> drawSamples(std::vector<Job>& jobs, const SumLayout& sumLayout, const InferenceOptions& options,
                                RunTimer& timer) {
    long drawnSoFar = 0;
    const std::function<bool(long)> keepGoing = [&timer](long drawn) { return timer.poll(drawn); };
    const auto drawRound = [&](long samples) {
        const auto draw = [&jobs](int k, SampleQuota& quota) {
            jobs[k].state = jobs[k].sampler.draw(jobs[k].state, quota, jobs[k].sums);
        };
        const bool going = shareAmongJobs(options.jobs, samples, drawnSoFar, draw, keepGoing, kPollInterval);
        drawnSoFar = 0;
        for (const Job& job : jobs) drawnSoFar += job.sums.drawn;
        return going;
    };
    if (!options.targetError) {
        drawRound(sampleLimit(options));
        return std::nullopt;
    }
    return drawToTarget(*options.targetError, sampleLimit(options), drawRound,
                        [&] { return estimateErrors(sumLayout, mergedSums(jobs), options.jobs); });
}

// Where each network variable's sums start, for the error estimates.
SumLayout sumLayoutOf(const SampleLayout& layout, const std::vector<int>& stateCounts) {
    const std::size_t n = stateCounts.size();
    std::vector<std::size_t> firstSum(n, 0);
    std::vector<char> tallied(n, 0);
    for (const SampleLayout::Tally& tally : layout.tallies) {
        firstSum[tally.variable] = tally.firstSum;
        tallied[tally.variable] = 1;
    }
    SumLayout sumLayout;
    for (std::size_t v = 0; v < n; ++v)
        sumLayout.nodes.push_back({firstSum[v], static_cast<std::size_t>(stateCounts[v]), tallied[v] != 0});
    return sumLayout;
}

// The queried variables' posteriors and standard errors from the merged
// sums; an observed variable's posterior is its observed state.
void fillPosteriors(InferenceResult& result, const WeightSums& sums, const SumLayout& sumLayout,
                    const std::vector<int>& observed, const std::vector<int>& queried, const ErrorEstimates& errors) {
    const std::size_t n = sumLayout.nodes.size();
    result.posteriors.resize(n);
    result.standardErrors.resize(n);
    result.valid.assign(n, false);
    for (std::size_t v = 0; v < n; ++v) {
        const bool wanted = queried.empty() || std::find(queried.begin(), queried.end(), static_cast<int>(v)) != queried.end();
        if (!wanted) continue;
        const SumLayout::Node& node = sumLayout.nodes[v];
        result.valid[v] = true;
        result.posteriors[v].assign(node.stateCount, 0.0);
        result.standardErrors[v] = errors.standardErrors[v];
        if (observed[v] >= 0) {
            result.posteriors[v][observed[v]] = 1.0;
            continue;
        }
        const double* sum = sums.perState.data() + node.firstSum;
        for (std::size_t s = 0; s < node.stateCount; ++s) result.posteriors[v][s] = sum[s] / sums.total;
    }
}

}  // namespace

InferenceResult inferByMiniBuckets(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                   std::optional<std::size_t> entriesPerMiniBucket) {
    RunTimer timer(sampleLimit(options), options.progress, timeBudget(options), options.cancellation);
    const std::function<void()> checkpoint = [&timer] { timer.step(); };
    const int n = network.size();

    std::vector<int> stateCounts;
    for (const Variable& variable : network.variables) stateCounts.push_back(variable.stateCount());
    const EvidenceWeights weights =
        evidenceWeights(evidence, stateCounts, [&](int v) { return network.variables[v].name; });
    std::vector<char> seeds(n, 0);
    for (int v = 0; v < n; ++v) seeds[v] = weights[v].empty() ? 0 : 1;

    try {
        // Only the evidence and its ancestors need the proposal.
        const RelevantFactors relevant(network, weights, seeds);
        const OrderedModel ordered = orderModel(relevant);
        const MiniBucketPlan plan = planWithinMemory(ordered, options.memoryLimitBytes, entriesPerMiniBucket, checkpoint);
        const MiniBucketSchedule schedule(plan, ordered.scopes.stateCounts, ordered.tables, checkpoint);
        const SampleLayout layout = layoutOf(network, relevant, ordered, options);

        std::vector<Job> jobs = jobsOf(schedule, layout, options);
        const SumLayout sumLayout = sumLayoutOf(layout, stateCounts);
        SamplingReport report;
        report.targetMet = drawSamples(jobs, sumLayout, options, timer);
        timer.finish();

        const WeightSums sums = mergedSums(jobs);
        if (sums.drawn == 0)
            throw InferenceError("no sample was drawn within the time budget (the set-up took " +
                                     std::to_string(timer.seconds()) + " s); raise --max-seconds",
                                 InferenceResult{});
        report.drawn = sums.drawn;
        report.distinct = sums.drawn;
        report.positive = sums.positive;
        report.outsideDouble = sums.outsideDouble;
        report.errors = estimateErrors(sumLayout, sums, options.jobs);
        for (const Job& job : jobs) report.backtracks += job.sampler.backtracks();

        InferenceResult result;
        result.seconds = timer.seconds();
        result.samplesDrawn = sums.drawn;
        result.miniBuckets = MiniBucketReport{plan.entriesPerMiniBucket, plan.messageEntries,
                                              static_cast<int>(plan.buckets.size()), plan.splitBuckets};
        fillPosteriors(result, sums, sumLayout, relevant.observed, options.queried, report.errors);
        // The mean weight as the engine's samplers report it, with every
        // likelihood scaled to a largest factor of 1: above 0 only by
        // sampling error.
        const double likelihoodScale = logLikelihoodScale(evidence);
        report.errors.logMeanWeight += relevant.logScale + schedule.logScale - likelihoodScale;
        result.logProbabilityOfEvidence = report.errors.logMeanWeight + likelihoodScale;
        result.probabilityOfEvidenceRelativeError = report.errors.meanWeightRelativeError;
        result.sampling = std::move(report);
        return result;
    } catch (const EvidenceError& error) {
        // The evidence's shape was checked before: what is left is evidence
        // of probability zero.
        throw InferenceError(error.what(), InferenceResult{});
    }
}

}  // namespace samplenet
