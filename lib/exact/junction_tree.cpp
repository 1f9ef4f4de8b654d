#include "lib/exact/junction_tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "lib/exact/clique_tree.h"
#include "lib/exact/saturating_arithmetic.h"
#include "lib/exact/triangulation.h"
#include "lib/util/byte_size.h"
#include "lib/model/errors.h"

namespace samplenet {
namespace {

std::size_t entriesOf(const std::vector<int>& variables, const std::vector<int>& stateCounts) {
    std::size_t entries = 1;
    for (int v : variables) entries = saturatingMultiply(entries, static_cast<std::size_t>(stateCounts[v]));
    return entries;
}

struct Plan {
    CliqueStatistics stats;
    CliqueTree tree;  // empty when the limit stopped the triangulation
};

// Shuffled restarts of the elimination order, on top of the three criteria:
// a run costs about as much as propagating a few thousand entries per
// variable.
constexpr int kMaxOrderRestarts = 16;
constexpr std::size_t kEntriesPerRestart = 2000;
// The search costs three triangulations and more, each a tenth of a second
// and more beyond this many variables (where most networks exceed the
// memory limit whatever the order): larger ones are planned by min-fill
// alone.
constexpr std::size_t kMostVariablesSearched = 5000;

// Triangulates until the clique tables certainly exceed the limit, and joins
// the cliques into a tree only when all of them were found.
Plan plan(const EliminationProblem& problem, std::size_t limitBytes, const std::function<void()>& checkpoint) {
    const std::vector<int>& stateCounts = problem.stateCounts;
    // Past half of what a size counts the estimate itself could saturate;
    // no memory comes near that.
    const std::size_t limit = std::min(limitBytes, std::numeric_limits<std::size_t>::max() / 2);
    // Every clique table is held twice, as doubles: entries beyond this
    // exceed the limit whatever the separators add.
    const std::size_t entryBudget = limit / (2 * sizeof(double));
    Triangulation triangulation =
        problem.stateCounts.size() > kMostVariablesSearched
            ? triangulate(problem, EliminationCriterion::MinFill, {}, entryBudget, checkpoint)
            : cheapestTriangulation(problem, kMaxOrderRestarts, kEntriesPerRestart, entryBudget, checkpoint);

    Plan result;
    CliqueStatistics& stats = result.stats;
    stats = {static_cast<int>(triangulation.cliques.size()), 0, 0, 0, 0, limitBytes, false,
             triangulation.variablesEliminated, triangulation.order};
    for (const auto& clique : triangulation.cliques) {
        const std::size_t entries = entriesOf(clique, stateCounts);
        stats.largestCliqueVariables = std::max(stats.largestCliqueVariables, static_cast<int>(clique.size()));
        stats.largestCliqueEntries = std::max(stats.largestCliqueEntries, entries);
        stats.totalEntries = saturatingAdd(stats.totalEntries, entries);
    }
    if (stats.totalEntries > entryBudget) {
        stats.exceedsLimit = true;
        stats.estimatedBytes = saturatingMultiply(2 * sizeof(double), stats.totalEntries);
        return result;
    }

    result.tree = joinCliques(std::move(triangulation.cliques), static_cast<int>(stateCounts.size()));
    std::size_t separatorTotal = 0;
    std::size_t largestSeparator = 0;
    for (std::size_t c = 0; c < result.tree.cliques.size(); ++c) {
        if (result.tree.parent[c] < 0) continue;
        const std::size_t separator = entriesOf(result.tree.separators[c], stateCounts);
        separatorTotal += separator;
        largestSeparator = std::max(largestSeparator, separator);
    }
    // A separator's table is no larger than its clique's, so within the
    // budget none of this overflows.
    stats.estimatedBytes = sizeof(double) * (2 * stats.totalEntries + separatorTotal + largestSeparator);
    return result;
}

// Scales the values to sum to 1 and returns the log of their former sum; a
// zero sum means the evidence cannot happen.
double normalise(double* values, std::size_t count) {
    const double sum = std::accumulate(values, values + count, 0.0);
    if (!(sum > 0.0)) throw ImpossibleEvidenceError();
    for (std::size_t i = 0; i < count; ++i) values[i] /= sum;
    return std::log(sum);
}

// A clique whose entries may have fallen below this is rescaled by its peak
// before the next message multiplies in: hundreds of messages into one
// clique (a node with that many children) can otherwise underflow to 0.
constexpr double kRescaleBelow = 1e-150;

// Scales the values to a largest of 1 and returns the log of the former
// largest; 0 when they are all 0 (left to the normalisation that follows).
double rescaleByPeak(double* values, std::size_t count) {
    const double peak = *std::max_element(values, values + count);
    if (!(peak > 0.0)) return 0.0;
    for (std::size_t i = 0; i < count; ++i) values[i] /= peak;
    return std::log(peak);
}

}  // namespace

void checkIndexable(const Network& network) {
    for (int v = 0; v < network.size(); ++v) {
        const Variable& variable = network.variables[v];
        if (variable.states.empty()) throw ModelError(fmt::format("variable '{}' has no states", variable.name));
        for (int p : variable.parents)
            if (p < 0 || p >= network.size() || p == v)
                throw ModelError(fmt::format("variable '{}' has an invalid parent index {}", variable.name, p));
        std::vector<int> parents = variable.parents;
        std::sort(parents.begin(), parents.end());
        if (std::adjacent_find(parents.begin(), parents.end()) != parents.end())
            throw ModelError(fmt::format("variable '{}' lists a parent twice", variable.name));
        const std::size_t expected = network.configurationCount(v) * variable.states.size();
        if (variable.table.size() != expected)
            throw ModelError(fmt::format("variable '{}' has {} table entries, expected {}", variable.name,
                                         variable.table.size(), expected));
    }
}

CliqueStatistics estimateCliques(const Network& network, const ExactOptions& options) {
    checkIndexable(network);
    return estimateCliques(FactorModel::of(network), options);
}

CliqueStatistics estimateCliques(const FactorModel& model, const ExactOptions& options) {
    return plan(model.eliminationProblem(), options.memoryLimitBytes, options.checkpoint).stats;
}

JunctionTree::JunctionTree(const Network& network, const ExactOptions& options) {
    checkIndexable(network);
    for (const auto& variable : network.variables) names.push_back(variable.name);
    build(FactorModel::of(network), options);
}

JunctionTree::JunctionTree(const FactorModel& model, const ExactOptions& options) { build(model, options); }

void JunctionTree::build(const FactorModel& model, const ExactOptions& options) {
    stateCounts = model.stateCounts;
    checkpoint = options.checkpoint;
    Plan planned = plan(model.eliminationProblem(), options.memoryLimitBytes, checkpoint);
    stats = planned.stats;
    const std::string advice = "use an approximate algorithm such as -a epis";
    if (stats.exceedsLimit)
        throw ExactMemoryError(fmt::format(
            "exact inference needs more than the limit of {} for its clique tables (measuring stopped after {} of {} "
            "variables, largest clique so far: {} variables); {}",
            describeBytes(options.memoryLimitBytes), stats.variablesEliminated, stateCounts.size(),
            stats.largestCliqueVariables, advice));
    if (stats.estimatedBytes > options.memoryLimitBytes)
        throw ExactMemoryError(fmt::format(
            "exact inference needs about {} of clique tables (largest clique: {} variables), above the limit of {}; {}",
            describeBytes(stats.estimatedBytes), stats.largestCliqueVariables, describeBytes(options.memoryLimitBytes),
            advice));
    const CliqueTree& tree = planned.tree;

    std::size_t offset = 0;
    for (const auto& clique : tree.cliques) {
        cliques.emplace_back(clique, stateCounts);
        cliqueOffsets.push_back(offset);
        offset += cliques.back().size;
    }
    initialPotentials.assign(offset, 1.0);
    placeTables(model, tree);
    linkSeparators(tree);
}

void JunctionTree::placeTables(const FactorModel& model, const CliqueTree& tree) {
    const int n = static_cast<int>(stateCounts.size());
    std::vector<std::vector<int>> cliquesContaining(n);
    for (int c = 0; c < static_cast<int>(tree.cliques.size()); ++c)
        for (int v : tree.cliques[c]) cliquesContaining[v].push_back(c);
    const auto smallestCliqueHolding = [&](int v, const std::vector<int>& sortedVariables) {
        int best = -1;
        for (int c : cliquesContaining[v])
            if (std::includes(tree.cliques[c].begin(), tree.cliques[c].end(), sortedVariables.begin(),
                              sortedVariables.end()) &&
                (best < 0 || cliques[c].size < cliques[best].size))
                best = c;
        return best;
    };
    for (const Factor& factor : model.factors) {
        step();
        const TableShape factorShape(factor.variables, stateCounts);
        std::vector<int> sorted = factor.variables;
        std::sort(sorted.begin(), sorted.end());
        // Its last variable is its child's in a network's own table.
        const int c = smallestCliqueHolding(factor.variables.back(), sorted);
        Projection(cliques[c], factorShape).multiply(initialPotentials.data() + cliqueOffsets[c], factor.values);
    }
    for (int v = 0; v < n; ++v) {
        const int home = smallestCliqueHolding(v, {v});
        homes.push_back({home, cliques[home].position(v)});
    }
}

void JunctionTree::linkSeparators(const CliqueTree& tree) {
    for (int c : tree.order) {
        if (tree.parent[c] < 0) continue;
        const TableShape separator(tree.separators[c], stateCounts);
        links.push_back({c, tree.parent[c], separatorEntries, separator.size, Projection(cliques[c], separator),
                         Projection(cliques[tree.parent[c]], separator)});
        separatorEntries += separator.size;
        largestSeparator = std::max(largestSeparator, separator.size);
    }
}

ExactResult JunctionTree::infer(const Evidence& evidence) const {
    const auto nameOf = [&](int v) { return names.empty() ? std::to_string(v) : names[v]; };
    return infer(evidenceWeights(evidence, stateCounts, nameOf), {});
}

ExactResult JunctionTree::infer(EvidenceWeights weights, const std::vector<char>& wanted) const {
    std::vector<double> potentials = initialPotentials;
    return propagate(potentials, std::move(weights), wanted);
}

ExactResult JunctionTree::inferOnce(EvidenceWeights weights, const std::vector<char>& wanted) && {
    return propagate(initialPotentials, std::move(weights), wanted);
}

ExactResult JunctionTree::propagate(std::vector<double>& potentials, EvidenceWeights weights,
                                    const std::vector<char>& wanted) const {
    ExactResult result{std::vector<std::vector<double>>(stateCounts.size()), 1.0, 0.0};
    if (cliques.empty()) return result;

    const auto table = [&](int c) { return potentials.data() + cliqueOffsets[c]; };
    // Every rescaling is undone in log space, so P(e) survives underflow.
    double logScale = 0.0;
    for (std::size_t v = 0; v < weights.size(); ++v) {
        if (weights[v].empty()) continue;
        const double peak = *std::max_element(weights[v].begin(), weights[v].end());
        if (peak == 0.0) throw ImpossibleEvidenceError();
        for (double& w : weights[v]) w /= peak;
        logScale += std::log(peak);
        weighAlong(table(homes[v].clique), cliques[homes[v].clique], homes[v].position, weights[v].data());
    }

    // Collect towards the root (clique 0), children before parents.
    std::vector<double> messages(separatorEntries);
    // Per clique, a bound on its largest entry: tables start at most 1, and
    // each message can shrink it by its own largest entry at most.
    std::vector<double> peakBound(cliques.size(), 1.0);
    for (auto link = links.rbegin(); link != links.rend(); ++link) {
        step();
        double* message = messages.data() + link->separatorOffset;
        link->fromClique.marginalise(table(link->clique), message);
        logScale += normalise(message, link->separatorSize);
        link->fromParent.multiply(table(link->parent), message);
        double& bound = peakBound[link->parent];
        bound *= *std::max_element(message, message + link->separatorSize);
        if (bound < kRescaleBelow) {
            logScale += rescaleByPeak(table(link->parent), cliques[link->parent].size);
            bound = 1.0;
        }
    }
    logScale += normalise(table(0), cliques[0].size);

    // Distribute, only into subtrees that hold a wanted variable's home:
    // each clique takes its parent's separator marginal divided by the
    // message it sent up.
    const auto isWanted = [&](std::size_t v) { return wanted.empty() || wanted[v]; };
    std::vector<char> reached(cliques.size(), 0);
    for (std::size_t v = 0; v < stateCounts.size(); ++v)
        if (isWanted(v)) reached[homes[v].clique] = 1;
    for (auto link = links.rbegin(); link != links.rend(); ++link)
        if (reached[link->clique]) reached[link->parent] = 1;
    std::vector<double> update(largestSeparator);
    for (const auto& link : links) {
        if (!reached[link.clique]) continue;
        step();
        const double* sent = messages.data() + link.separatorOffset;
        link.fromParent.marginalise(table(link.parent), update.data());
        normalise(update.data(), link.separatorSize);
        for (std::size_t i = 0; i < link.separatorSize; ++i) update[i] = sent[i] > 0.0 ? update[i] / sent[i] : 0.0;
        link.fromClique.multiply(table(link.clique), update.data());
    }

    for (std::size_t v = 0; v < stateCounts.size(); ++v) {
        if (!isWanted(v)) continue;
        step();
        auto& posterior = result.posteriors[v];
        posterior.resize(stateCounts[v]);
        sumAlong(table(homes[v].clique), cliques[homes[v].clique], homes[v].position, posterior.data());
        normalise(posterior.data(), posterior.size());
    }
    result.logProbabilityOfEvidence = logScale;
    result.probabilityOfEvidence = std::exp(logScale);
    return result;
}

}  // namespace samplenet
