#include "lib/queries/approximate_explanation.h"

#include <algorithm>
#include <limits>
#include <random>
#include <stdexcept>

#include "lib/inference/algorithm.h"
#include "lib/inference/cancellation.h"
#include "lib/queries/region_optimisation.h"

namespace samplenet {

namespace {

// The local search starts from up to this many of the best samples: on
// andes, 32 starts found the exact explanation in 0 of 10 cases, 256 in 4,
// 2048 in 8. Larger networks get fewer, so that the starts together visit
// about as many variables as andes's 2048 do.
constexpr int kSearchStarts = 2048;
constexpr int kFewestStarts = 16;
constexpr long kStartVariables = 2048L * 223;
// Joint states of a variable and its parents that one move tries at most.
constexpr std::size_t kLargestFamilyMove = 64;
// Perturbations of the best explanation found, each followed by a search:
// on andes 2,000 of them took the exact explanation from 10 to 16 cases of
// 20; 8,000, or shaking whole Markov blankets, found no more.
constexpr int kPerturbations = 2000;
// Exact moves over regions of up to this many unobserved variables around a
// random centre, fewer where eliminating the region would make a table of
// more entries than this. After the shakes, on andes, 500 moves over
// regions of 30 variables and 4,096 entries took the exact explanation from
// 16 and 14 cases of 20 (two seeds) to 18 and 18; of 60 and 16,384, to 20
// and 20, for about 0.3 s more per case. The bound on entries keeps a
// move's cost flat on networks of any size.
constexpr int kRegionMoves = 500;
constexpr int kRegionVariables = 60;
constexpr std::size_t kRegionEntries = 16384;

// Hill climbing on P(x, e). Its moves: one variable; a variable and one of
// its children together, which escapes where a child follows its parent
// (nearly) deterministically and neither can change alone; a variable and
// its parents, where they have few joint states.
class LocalSearch {
public:
    LocalSearch(const Network& network, const Evidence& evidence)
        : network(network), evidence(evidence), children(network.children()), queued(network.size(), false) {}

    // Tries the moves around each of `from`; after a change, the moves
    // around the changed variables' neighbours too, until no move raises
    // P(x, e). Returns the number of variables changed.
    int climb(std::vector<int>& assignment, const std::vector<int>& from) {
        states = &assignment;
        for (int v : from) enqueue(v);
        int changes = 0;
        while (!pending.empty()) {
            const int v = pending.back();
            pending.pop_back();
            queued[v] = false;
            std::vector<int> changed;
            for (const std::vector<int>& move : movesAround(v)) {
                const std::vector<int> moved = improve(move);
                changed.insert(changed.end(), moved.begin(), moved.end());
            }
            changes += static_cast<int>(changed.size());
            for (int c : changed) enqueueNeighbours(c);
        }
        return changes;
    }

    // Climbs from every variable.
    int climb(std::vector<int>& assignment) {
        std::vector<int> all(network.size());
        for (int v = 0; v < network.size(); ++v) all[v] = network.size() - 1 - v;
        return climb(assignment, all);
    }

    // Iterated local search: sets a random variable and its unobserved
    // neighbours to random states, climbs from there, and keeps the result
    // when it is more probable. Returns the number of variables changed.
    int perturbAndClimb(std::vector<int>& best, int rounds, unsigned seed, CancellationPoller& poller) {
        std::vector<int> free;
        for (int v = 0; v < network.size(); ++v)
            if (!observed(v)) free.push_back(v);
        if (free.empty()) return 0;
        std::mt19937 rng(seed);
        double bestScore = logJointProbability(network, evidence, best);
        int changes = 0;
        for (int round = 0; round < rounds; ++round) {
            poller.step();
            std::vector<int> trial = best;
            const int centre = free[rng() % free.size()];
            std::vector<int> shaken = {centre};
            for (int parent : network.variables[centre].parents) shaken.push_back(parent);
            for (int child : children[centre]) shaken.push_back(child);
            std::vector<int> from;
            for (int v : shaken) {
                if (observed(v)) continue;
                trial[v] = static_cast<int>(rng() % network.variables[v].states.size());
                from.push_back(v);
            }
            climb(trial, from);
            if (const double score = logJointProbability(network, evidence, trial); score > bestScore) {
                for (int v = 0; v < network.size(); ++v) changes += trial[v] != best[v];
                best = std::move(trial);
                bestScore = score;
            }
        }
        return changes;
    }

    // Sets regions around random centres to their jointly most probable
    // states, the rest held, and climbs from what changed; every move keeps
    // or raises P(x, e). Returns the number of variables changed.
    int optimiseRegions(std::vector<int>& best, int rounds, unsigned seed, CancellationPoller& poller) {
        std::vector<int> free;
        for (int v = 0; v < network.size(); ++v)
            if (!observed(v)) free.push_back(v);
        if (free.empty()) return 0;
        const std::vector<int> start = best;
        const RegionOptimisation regions(network, evidence);
        // Not the shakes' stream: their centres would repeat.
        std::mt19937 rng(seed ^ 0x9e3779b9u);
        for (int round = 0; round < rounds; ++round) {
            poller.step();
            const int centre = free[rng() % free.size()];
            const std::vector<int> changed =
                regions.optimise(best, regions.regionAround(centre, kRegionVariables, kRegionEntries));
            if (!changed.empty()) climb(best, changed);
        }
        int changes = 0;
        for (int v = 0; v < network.size(); ++v) changes += start[v] != best[v];
        return changes;
    }

private:
    bool observed(int v) const { return evidence.hard.count(v) > 0; }

    void enqueue(int v) {
        if (observed(v) || queued[v]) return;
        queued[v] = true;
        pending.push_back(v);
    }

    // The variables whose moves a change of v can open: v, its parents, its
    // children and their other parents.
    void enqueueNeighbours(int v) {
        enqueue(v);
        for (int parent : network.variables[v].parents) enqueue(parent);
        for (int child : children[v]) {
            enqueue(child);
            for (int coParent : network.variables[child].parents) enqueue(coParent);
        }
    }

    std::vector<std::vector<int>> movesAround(int v) const {
        std::vector<std::vector<int>> moves = {{v}};
        for (int child : children[v])
            if (!observed(child)) moves.push_back({v, child});
        std::vector<int> family = {v};
        std::size_t combinations = network.variables[v].states.size();
        for (int parent : network.variables[v].parents)
            if (!observed(parent)) {
                family.push_back(parent);
                combinations *= network.variables[parent].states.size();
            }
        if (family.size() > 2 && combinations <= kLargestFamilyMove) moves.push_back(std::move(family));
        return moves;
    }

    // The log of the factors that the given families contribute.
    double score(const std::vector<int>& families) const {
        double logProbability = 0.0;
        for (int f : families) logProbability += logFamilyProbability(network, evidence, *states, f);
        return logProbability;
    }

    // Sets the variables to their best joint states; returns those changed.
    std::vector<int> improve(const std::vector<int>& moving) {
        std::vector<int>& x = *states;
        std::vector<int> families = moving;
        for (int v : moving) families.insert(families.end(), children[v].begin(), children[v].end());
        std::sort(families.begin(), families.end());
        families.erase(std::unique(families.begin(), families.end()), families.end());

        std::vector<int> start;
        for (int v : moving) start.push_back(x[v]);
        std::vector<int> best = start;
        double bestScore = score(families);
        std::vector<int> trial(moving.size(), 0);
        for (;;) {
            for (std::size_t k = 0; k < moving.size(); ++k) x[moving[k]] = trial[k];
            if (const double candidate = score(families); candidate > bestScore + kLeastExplanationGain) {
                bestScore = candidate;
                best = trial;
            }
            std::size_t k = moving.size();
            while (k > 0 && ++trial[k - 1] == network.variables[moving[k - 1]].stateCount()) trial[--k] = 0;
            if (k == 0) break;
        }
        std::vector<int> changed;
        for (std::size_t k = 0; k < moving.size(); ++k) {
            x[moving[k]] = best[k];
            if (best[k] != start[k]) changed.push_back(moving[k]);
        }
        return changed;
    }

    const Network& network;
    const Evidence& evidence;
    std::vector<std::vector<int>> children;
    std::vector<int>* states = nullptr;
    std::vector<int> pending;
    std::vector<bool> queued;
};

// Each variable in its most probable state by its posterior marginal.
std::vector<int> mostProbableStates(const InferenceResult& result, const Evidence& evidence) {
    std::vector<int> states;
    for (std::size_t v = 0; v < result.posteriors.size(); ++v) {
        const auto& posterior = result.posteriors[v];
        states.push_back(static_cast<int>(std::max_element(posterior.begin(), posterior.end()) - posterior.begin()));
    }
    for (const auto& [v, state] : evidence.hard) states[v] = state;
    return states;
}

}  // namespace

int improveLocally(const Network& network, const Evidence& evidence, std::vector<int>& states) {
    return LocalSearch(network, evidence).climb(states);
}

Explanation approximateExplanation(const Network& network, const Evidence& evidence, InferenceOptions options,
                                   bool localSearch) {
    if (!algorithmEntry(options.algorithm).engineSampler)
        throw std::invalid_argument("an approximate explanation comes from the samplers: " +
                                    algorithmNamesWhere(&AlgorithmEntry::engineSampler));
    options.keepBestSamples =
        localSearch ? static_cast<int>(std::clamp<long>(kStartVariables / std::max(1, network.size()), kFewestStarts,
                                                        kSearchStarts))
                    : 1;
    const InferenceResult result = infer(network, evidence, options);
    Explanation explanation;
    explanation.states = result.bestSamples.front();
    explanation.exact = false;
    if (localSearch) {
        // The search starts from each of the best samples and from every
        // variable in its most probable state; the best end is then shaken,
        // and then moved a region at a time.
        LocalSearch search(network, evidence);
        CancellationPoller poller(options.cancellation);
        std::vector<std::vector<int>> starts = result.bestSamples;
        starts.push_back(mostProbableStates(result, evidence));
        double bestScore = -std::numeric_limits<double>::infinity();
        for (std::vector<int>& start : starts) {
            poller.step();
            const std::vector<int> before = start;
            search.climb(start);
            if (const double score = logJointProbability(network, evidence, start); score > bestScore) {
                bestScore = score;
                explanation.states = std::move(start);
                explanation.searchChanges = 0;
                for (int v = 0; v < network.size(); ++v) explanation.searchChanges += before[v] != explanation.states[v];
            }
        }
        const auto seed = static_cast<unsigned>(options.seed.value_or(0));
        explanation.searchChanges += search.perturbAndClimb(explanation.states, kPerturbations, seed, poller);
        explanation.searchChanges += search.optimiseRegions(explanation.states, kRegionMoves, seed, poller);
    }
    explanation.logJoint = logJointProbability(network, evidence, explanation.states);
    explanation.logPosterior = explanation.logJoint - result.logProbabilityOfEvidence.value_or(0.0);
    return explanation;
}

}  // namespace samplenet
