#include "lib/inference/propagated_sampling_run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

#include "lib/bucket/backtracking_plan_sampler.h"
#include "lib/exact/junction_tree.h"
#include "lib/exact/saturating_arithmetic.h"
#include "lib/inference/likelihood_evidence.h"
#include "lib/inference/proposal_refinement.h"
#include "lib/model/errors.h"
#include "lib/inference/sequential_propagation.h"
#include "lib/sampling/generator_stream.h"
#include "lib/sampling/parallel_draws.h"
#include "lib/util/byte_size.h"

namespace samplenet {

namespace {

// The share of the time budget propagation may take; sampling gets the rest.
constexpr double kPropagationShare = 0.2;
// Propagation and the refinement of its tables together.
constexpr double kLearningShare = 0.5;
// Rounds of refinement, each of a tenth of the final stage's samples within
// these bounds, and how far a round moves the tables.
constexpr int kRefinementRounds = 10;
constexpr long kLeastRefinementSamples = 1000;
constexpr long kMostRefinementSamples = 50000;
constexpr double kRefinementRate = 0.7;
constexpr double kSettledShare = 0.99;
// A round with more than this share of its samples ended by a zero entry
// switches the run to drawing with backtracking.
constexpr double kLostShare = 0.5;

// The network the samples are drawn from: the given one, with a child per
// likelihood, and its observed states by variable (-1: drawn).
struct ObservedModel {
    Network network;
    std::vector<int> observed;
};

ObservedModel observedModel(const Network& given, const Evidence& evidence) {
    ObservedModel model{given, {}};
    std::map<int, int> hard = evidence.hard;
    if (!evidence.likelihood.empty()) hard = addLikelihoodChildren(model.network, evidence);
    model.observed.assign(model.network.size(), -1);
    for (const auto& [v, state] : hard) model.observed[v] = state;
    return model;
}

// The observed variables and their ancestors: the others' messages to them
// are uniform, so they are drawn from their own tables.
std::vector<char> evidenceAncestors(const Network& network, const std::vector<int>& observed) {
    std::vector<char> included(network.size(), 0);
    std::vector<int> pending;
    for (int v = 0; v < network.size(); ++v)
        if (observed[v] >= 0) pending.push_back(v);
    while (!pending.empty()) {
        const int v = pending.back();
        pending.pop_back();
        if (included[v]) continue;
        included[v] = 1;
        for (int parent : network.variables[v].parents) pending.push_back(parent);
    }
    return included;
}

// What the run keeps, in table copies: the checked network and the copy
// with likelihood children, the plan's two entries per table entry; for the
// evidence's ancestors also the importance tables, the refinement's sums of
// weights and of their squares, and propagation's messages (at most an
// entry per table entry). Each job sums weights and squares per state and,
// when it backtracks, keeps a proposal and the model's entries per state and
// a block of states per node (a few entries' worth).
std::size_t bytesKept(const Network& network, const std::vector<char>& included, int jobs) {
    constexpr std::size_t kBacktrackingPerNode = 24;
    std::size_t entries = 0;
    for (int v = 0; v < network.size(); ++v) {
        const Variable& variable = network.variables[v];
        const std::size_t copies = included[v] ? 8 : 4;
        entries = saturatingAdd(entries, saturatingMultiply(copies, variable.table.size()));
        entries = saturatingAdd(entries, saturatingMultiply(4 * static_cast<std::size_t>(jobs),
                                                            static_cast<std::size_t>(variable.stateCount())));
        entries = saturatingAdd(entries, saturatingMultiply(kBacktrackingPerNode, static_cast<std::size_t>(jobs)));
    }
    return saturatingMultiply(entries, sizeof(double));
}

double epsilonFor(const EpisOptions& epis, std::size_t states) {
    if (states <= static_cast<std::size_t>(epis.stateCountLimit1)) return epis.epsilon1;
    if (states <= static_cast<std::size_t>(epis.stateCountLimit2)) return epis.epsilon2;
    if (states <= static_cast<std::size_t>(epis.stateCountLimit3)) return epis.epsilon3;
    return epis.epsilon4;
}

// Per column, the variable's table times lambda, normalised, each state the
// table allows raised to at least epsilon (and normalised again); a column
// that lambda empties keeps the table's.
std::vector<double> importanceTable(const Variable& variable, const std::vector<double>& lambda, double epsilon) {
    const std::size_t states = variable.stateCount();
    std::vector<double> table(variable.table.size());
    for (std::size_t column = 0; column < table.size(); column += states) {
        const double* p = variable.table.data() + column;
        double* q = table.data() + column;
        double sum = 0.0;
        for (std::size_t s = 0; s < states; ++s) sum += q[s] = p[s] * lambda[s];
        if (!(sum > 0.0)) std::copy_n(p, states, q);
        keepAtLeast(q, p, states, epsilon);
    }
    return table;
}

// The sampling plan's nodes in topological order: `position` maps variables
// to them.
struct PlannedModel {
    std::vector<SamplingPlan::HostNode> nodes;
    std::vector<int> position;
};

PlannedModel plannedModel(const ObservedModel& model, const std::vector<std::vector<double>>& importance,
                          const std::vector<char>& tallied) {
    const Network& network = model.network;
    PlannedModel planned;
    planned.position.assign(network.size(), -1);
    for (int v : network.topologicalOrder()) {
        planned.position[v] = static_cast<int>(planned.nodes.size());
        const Variable& variable = network.variables[v];
        SamplingPlan::HostNode node{model.observed[v], static_cast<std::uint32_t>(variable.stateCount()), {},
                                    variable.table.data(),
                                    importance[v].empty() ? variable.table.data() : importance[v].data(),
                                    tallied[v] != 0};
        for (int parent : variable.parents) node.parents.push_back(static_cast<std::uint32_t>(planned.position[parent]));
        planned.nodes.push_back(std::move(node));
    }
    return planned;
}

std::uint64_t streamStart(const InferenceOptions& options) {
    const auto seed = options.seed ? static_cast<std::uint64_t>(*options.seed) : std::random_device{}();
    return generator_stream::mix(seed);
}

// Block samplers draw fastest; where zeros end most of their samples,
// samplers that back up over them take over.
ParallelDraws::SamplerMaker samplersFor(const SamplingPlan& plan, const PlannedModel& planned, bool backtracking) {
    if (!backtracking) return {};
    return [&plan, &planned] { return std::make_unique<BacktrackingPlanSampler>(plan, planned.nodes); };
}

// Draws the samples (to the target error, if any) and reports them.
SamplingReport drawSamples(const SamplingPlan& plan, const PlannedModel& planned, bool backtracking,
                           const InferenceOptions& options, RunTimer& timer, WeightSums& sums) {
    ParallelDraws draws(plan, streamStart(options), Generator::Wide, options.jobs,
                        samplersFor(plan, planned, backtracking));
    if (options.watch) {
        std::vector<std::size_t> rowOf;
        for (std::size_t v = 0; v < planned.position.size(); ++v) rowOf.push_back(planned.position[v]);
        draws.watch(options.watch->observers(rowOf, options.jobs));
    }
    const std::function<bool(long)> keepGoing = [&timer](long drawn) { return timer.poll(drawn); };
    SamplingReport report;
    if (options.targetError) {
        report.targetMet = drawToTarget(
            *options.targetError, sampleLimit(options), [&](long samples) { return draws.drawRound(samples, keepGoing); },
            [&] { return estimateErrors(plan, draws.merged(), options.jobs); });
    } else {
        draws.drawRound(sampleLimit(options), keepGoing);
    }
    sums = draws.merged();
    report.drawn = sums.drawn;
    report.distinct = draws.distinctSamples();
    report.positive = sums.positive;
    report.impossible = sums.impossible;
    report.lostToRange = sums.lostToRange;
    report.outsideDouble = sums.outsideDouble;
    report.errors = estimateErrors(plan, sums, options.jobs);
    report.backtracks = draws.backtracks();
    return report;
}

// Rounds of samples from the current tables, each moving the tables of the
// evidence's ancestors towards the posteriors given their parents that the
// round's weights estimate, while `keepGoing` says so. Returns whether the
// samples are to be drawn with backtracking: once a round lost most of its
// samples to zero entries, the rounds after it and the final samples are.
bool refineTables(const ObservedModel& model, std::vector<std::vector<double>>& importance, const InferenceOptions& options,
                  const std::function<bool(long)>& keepGoing) {
    const long samples = std::clamp(static_cast<long>(sampleLimit(options)) / kRefinementRounds, kLeastRefinementSamples,
                                    kMostRefinementSamples);
    const std::vector<char> untallied(model.network.size(), 0);
    const std::uint64_t start = streamStart(options);
    bool backtracking = false;
    for (int round = 0; round < kRefinementRounds; ++round) {
        const PlannedModel planned = plannedModel(model, importance, untallied);
        const SamplingPlan plan(planned.nodes);
        ParallelDraws draws(plan, generator_stream::mix(start + static_cast<std::uint64_t>(round) + 1), Generator::Wide,
                            options.jobs, samplersFor(plan, planned, backtracking));
        std::vector<FamilyTallies> tallies(options.jobs, FamilyTallies(plan));
        std::vector<BlockObserver*> observers;
        for (FamilyTallies& job : tallies) observers.push_back(&job);
        draws.watch(observers);
        const bool going = draws.drawRound(samples, keepGoing);
        const WeightSums sums = draws.merged();
        // Zeros the tables cannot see lose most samples: backtrack from now on.
        if (static_cast<double>(sums.impossible) > kLostShare * static_cast<double>(sums.drawn)) backtracking = true;
        // Weights all but equal: the tables are the posterior's own, and
        // the round's estimates could only add noise to them.
        if (estimateErrors(plan, sums).effectiveSampleSize >= kSettledShare * static_cast<double>(sums.drawn)) break;
        for (std::size_t k = 1; k < tallies.size(); ++k) tallies.front().merge(tallies[k]);
        for (int v = 0; v < model.network.size(); ++v) {
            if (importance[v].empty()) continue;
            const Variable& variable = model.network.variables[v];
            refineColumns(importance[v].data(), variable.table.data(), tallies.front().of(plan.nodes[planned.position[v]]),
                          variable.table.size(), variable.stateCount(), kRefinementRate,
                          epsilonFor(options.epis, variable.stateCount()));
        }
        if (!going) break;
    }
    return backtracking;
}

std::vector<char> talliedVariables(const ObservedModel& model, const InferenceOptions& options, int given) {
    std::vector<char> tallied(model.network.size(), 0);
    for (int v = 0; v < given; ++v) tallied[v] = options.queried.empty() ? 1 : 0;
    for (int v : options.queried) tallied[v] = 1;
    return tallied;
}

// The posteriors of the given network's variables, from the final samples.
InferenceResult answerFrom(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                           const SamplingPlan& plan, const PlannedModel& planned, const WeightSums& sums,
                           SamplingReport report) {
    InferenceResult result;
    result.samplesDrawn = report.drawn;
    const int n = network.size();
    result.posteriors.resize(n);
    result.standardErrors.resize(n);
    result.valid.assign(n, false);
    for (int v = 0; v < n; ++v) {
        const SamplingPlan::Node& node = plan.nodes[planned.position[v]];
        const int states = network.variables[v].stateCount();
        result.standardErrors[v] = report.errors.standardErrors[planned.position[v]];
        if (node.evidence >= 0) {
            result.posteriors[v].assign(states, 0.0);
            result.posteriors[v][node.evidence] = 1.0;
            result.valid[v] = options.queried.empty() ||
                              std::find(options.queried.begin(), options.queried.end(), v) != options.queried.end();
            continue;
        }
        if (!node.tallied || !(sums.total > 0.0)) continue;
        result.valid[v] = true;
        for (int s = 0; s < states; ++s) result.posteriors[v].push_back(sums.perState[node.firstSum + s] / sums.total);
    }
    if (report.errors.effectiveSampleSize > 0.0) {
        result.logProbabilityOfEvidence = logProbabilityOfEvidence(report.errors.logMeanWeight, evidence);
        result.probabilityOfEvidenceRelativeError = report.errors.meanWeightRelativeError;
    }
    result.sampling = std::move(report);
    return result;
}

}  // namespace

InferenceResult inferByPropagatedImportance(const Network& network, const Evidence& evidence,
                                            const InferenceOptions& options) {
    RunTimer timer(sampleLimit(options), options.progress, timeBudget(options), options.cancellation);
    const ObservedModel model = observedModel(network, evidence);
    const std::vector<char> included = evidenceAncestors(model.network, model.observed);
    if (const std::size_t bytes = bytesKept(model.network, included, options.jobs); bytes > options.memoryLimitBytes)
        throw NetworkTooLargeError("bpis needs about " + describeBytes(bytes) +
                                   " for its tables and messages, above the memory limit of " +
                                   describeBytes(options.memoryLimitBytes) + "; raise it with --memory-limit");

    const auto start = std::chrono::steady_clock::now();
    const std::optional<double> budget = timeBudget(options);
    // Whether the stage may go on: within its share of the time budget.
    const auto withinShare = [&](double share) {
        timer.step();
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
        return !budget || spent.count() < share * *budget;
    };
    SequentialPropagationSettings settings;
    settings.damping = options.damping;
    settings.keepGoing = [&] { return withinShare(kPropagationShare); };
    const ChildMessages messages = propagateSequentially(model.network, model.observed, included, settings);
    std::vector<std::vector<double>> importance(model.network.size());
    for (int v = 0; v < model.network.size(); ++v) {
        if (!included[v] || model.observed[v] >= 0) continue;
        const Variable& variable = model.network.variables[v];
        importance[v] = importanceTable(variable, messages.lambda[v], epsilonFor(options.epis, variable.stateCount()));
    }
    try {
        const bool backtracking =
            refineTables(model, importance, options, [&](long) { return withinShare(kLearningShare); });
        const PlannedModel planned = plannedModel(model, importance, talliedVariables(model, options, network.size()));
        const SamplingPlan plan(planned.nodes);
        WeightSums sums(plan.sumCount);
        SamplingReport report = drawSamples(plan, planned, backtracking, options, timer, sums);
        timer.finish();

        InferenceResult result = answerFrom(network, evidence, options, plan, planned, sums, std::move(report));
        result.seconds = timer.seconds();
        if (!(sums.total > 0.0))
            throw InferenceError("no sample was compatible with the evidence: every one of " +
                                     std::to_string(sums.drawn) + " samples had weight 0",
                                 std::move(result));
        return result;
    } catch (const EvidenceError& error) {
        // Backtracking ran out of states: no assignment is consistent with
        // the evidence.
        throw InferenceError(error.what(), InferenceResult{});
    }
}

}  // namespace samplenet
