#include "lib/queries/sampled_map.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>

#include "lib/queries/configuration_weights.h"
#include "lib/queries/joint_posterior.h"

namespace samplenet {

namespace {

// Configurations of the chosen variables each job's table keeps.
constexpr std::size_t kConfigurationsKept = 1 << 16;
// The search starts from this many of the heaviest configurations.
constexpr std::size_t kStarts = 4;
// A move is taken when it raises ln P(x, e) by more than this many standard
// errors of the difference of the two estimates.
constexpr double kMoveConfidence = 2.0;
// The heaviest configurations of the candidates run whose share of the
// weight gives an estimate of P(x, e) to pool with the search's.
constexpr std::size_t kSampledScores = 256;
// The configurations of the highest estimates that are scored again.
constexpr std::size_t kRescored = 3;
// The search's time budget when the options set none.
constexpr double kDefaultSearchSeconds = 60.0;

// One table of configurations per job.
class ConfigurationWatch : public SampleWatch {
public:
    explicit ConfigurationWatch(std::vector<int> free) : free(std::move(free)) {}

    std::vector<BlockObserver*> observers(const std::vector<std::size_t>& rowOf, int jobs) override {
        std::vector<std::size_t> rows;
        for (int v : free) rows.push_back(rowOf[v]);
        tables.clear();
        std::vector<BlockObserver*> shown;
        for (int k = 0; k < jobs; ++k) {
            tables.push_back(std::make_unique<ConfigurationWeights>(rows, kConfigurationsKept));
            shown.push_back(tables.back().get());
        }
        return shown;
    }

    // Every job's configurations in the first job's table.
    const ConfigurationWeights* merged() {
        if (tables.empty()) return nullptr;
        for (std::size_t k = 1; k < tables.size(); ++k) tables.front()->merge(*tables[k]);
        tables.resize(1);
        return tables.front().get();
    }

private:
    std::vector<int> free;
    std::vector<std::unique_ptr<ConfigurationWeights>> tables;
};

// ln P(x, e) estimated by one sampling run, with its standard error.
struct Score {
    double logJoint = -std::numeric_limits<double>::infinity();
    double error = 0.0;
};

// Two estimates of the same ln P(x, e) as one, each weighed by the inverse
// of its variance; an estimate without error (every weight equal) stands,
// and so does the one run that found weight where the other found none.
Score pool(const Score& a, const Score& b) {
    if (std::isinf(a.logJoint) || std::isinf(b.logJoint)) return a.logJoint > b.logJoint ? a : b;
    if (a.error == 0.0 || b.error == 0.0) return a.error <= b.error ? a : b;
    const double wa = 1.0 / (a.error * a.error), wb = 1.0 / (b.error * b.error);
    return {(wa * a.logJoint + wb * b.logJoint) / (wa + wb), 1.0 / std::sqrt(wa + wb)};
}

// Whether `to` is more probable than `from` beyond their errors.
bool clearlyBetter(const Score& to, const Score& from) {
    if (std::isinf(from.logJoint) && from.logJoint < 0.0) return !std::isinf(to.logJoint);
    return to.logJoint - from.logJoint > kMoveConfidence * std::hypot(to.error, from.error);
}

class MapSearch {
public:
    MapSearch(const Network& network, const Evidence& evidence, std::vector<int> free, const InferenceOptions& options,
              double budget)
        : network(network), evidence(evidence), free(std::move(free)), options(options),
          start(std::chrono::steady_clock::now()), budget(budget) {
        this->options.watch = nullptr;
        this->options.joint.clear();
        this->options.keepBestSamples = 0;
        this->options.queried = this->free;
    }

    // Climbs from `x` while a neighbour is clearly better.
    void climb(std::vector<int> x, SampledMapReport& report) {
        Score here = score(x);
        for (;;) {
            std::vector<int> best = x;
            Score bestScore = here;
            for (std::size_t i = 0; i < free.size() && withinBudget(report); ++i)
                for (int s = 0; s < network.variables[free[i]].stateCount(); ++s) {
                    if (s == x[i]) continue;
                    std::vector<int> y = x;
                    y[i] = s;
                    if (const Score neighbour = score(y); neighbour.logJoint > bestScore.logJoint) {
                        best = std::move(y);
                        bestScore = neighbour;
                    }
                }
            if (!clearlyBetter(bestScore, here)) return;
            x = std::move(best);
            here = bestScore;
            ++report.moves;
        }
    }

    int scored() const { return static_cast<int>(scores.size()); }

    // The configurations of the highest estimates, each scored again by a
    // run of another seed and its two estimates pooled, and with the
    // candidates run's estimate where it has one: the highest of the first
    // estimates is high partly by luck, and the others are not. Returns the
    // best by the pooled estimates.
    std::pair<std::vector<int>, Score> best(const std::map<std::vector<int>, Score>& sampled) {
        std::vector<std::pair<std::vector<int>, Score>> ranked(scores.begin(), scores.end());
        const std::size_t kept = std::min(kRescored, ranked.size());
        std::partial_sort(ranked.begin(), ranked.begin() + static_cast<std::ptrdiff_t>(kept), ranked.end(),
                          [](const auto& a, const auto& b) { return a.second.logJoint > b.second.logJoint; });
        InferenceOptions again = options;
        if (again.seed) again.seed = *again.seed + 1;
        std::pair<std::vector<int>, Score> chosen = ranked.front();
        for (std::size_t k = 0; k < kept; ++k) {
            Score pooled = pool(ranked[k].second, estimate(ranked[k].first, again));
            if (const auto found = sampled.find(ranked[k].first); found != sampled.end())
                pooled = pool(pooled, found->second);
            if (k == 0 || pooled.logJoint > chosen.second.logJoint) chosen = {ranked[k].first, pooled};
        }
        return chosen;
    }

private:
    bool withinBudget(SampledMapReport& report) {
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
        if (spent.count() < budget) return true;
        report.localOptimum = false;
        return false;
    }

    // Scores each configuration once.
    Score score(const std::vector<int>& x) {
        if (const auto known = scores.find(x); known != scores.end()) return known->second;
        return scores[x] = estimate(x, options);
    }

    // A run with x added to the evidence.
    Score estimate(const std::vector<int>& x, const InferenceOptions& settings) const {
        Evidence given = evidence;
        for (std::size_t i = 0; i < free.size(); ++i) given.hard[free[i]] = x[i];
        Score result;
        try {
            const InferenceResult run = infer(network, given, settings);
            if (run.logProbabilityOfEvidence) {
                result.logJoint = *run.logProbabilityOfEvidence;
                result.error = run.probabilityOfEvidenceRelativeError.value_or(0.0);
            }
        } catch (const InferenceError&) {
            // No sample had weight: as far as the sampler can tell, x is impossible.
        }
        return result;
    }

    const Network& network;
    const Evidence& evidence;
    std::vector<int> free;
    InferenceOptions options;
    std::chrono::steady_clock::time_point start;
    double budget;
    std::map<std::vector<int>, Score> scores;
};

// The heaviest configurations of the candidates run, then every variable in
// its most probable state, without repeats.
std::vector<std::vector<int>> candidatesOf(const InferenceResult& run, const ConfigurationWeights* weights,
                                          const std::vector<int>& free) {
    std::vector<std::vector<int>> candidates;
    if (weights)
        for (const ConfigurationWeights::Share& share : weights->heaviest(kStarts)) candidates.push_back(share.states);
    std::vector<int> marginal;
    for (int v : free) {
        const std::vector<double>& posterior = run.posteriors[v];
        marginal.push_back(static_cast<int>(std::max_element(posterior.begin(), posterior.end()) - posterior.begin()));
    }
    if (std::find(candidates.begin(), candidates.end(), marginal) == candidates.end()) candidates.push_back(marginal);
    return candidates;
}

// ln P(x, e) of the heaviest configurations by the candidates run: its
// estimate of ln P(e) and of the configuration's share of the weight.
std::map<std::vector<int>, Score> sampledScores(const InferenceResult& run, const ConfigurationWeights* weights) {
    std::map<std::vector<int>, Score> scores;
    if (!weights || !run.logProbabilityOfEvidence) return scores;
    const double evidenceError = run.probabilityOfEvidenceRelativeError.value_or(0.0);
    for (const ConfigurationWeights::Share& share : weights->heaviest(kSampledScores))
        if (share.probability > 0.0)
            scores[share.states] = {*run.logProbabilityOfEvidence + std::log(share.probability),
                                    std::hypot(evidenceError, share.standardError / share.probability)};
    return scores;
}

std::string methodOf(const InferenceOptions& options, const SampledMapReport& report) {
    std::string how = "approximate: ";
    how += algorithmEntry(options.algorithm).showsSamples ? "the heaviest configurations of the chosen nodes in the samples"
                                           : "the most probable state of each chosen node by its marginal";
    how += ", improved by a local search that moves one node at a time where P(x, e), estimated by a sampling "
           "run per configuration, rises beyond its error (" +
           std::to_string(report.scored) + " configurations scored, " + std::to_string(report.moves) +
           (report.moves == 1 ? " move" : " moves") +
           (report.localOptimum ? ", ended at a local optimum)" : ", stopped by the time budget)") +
           "; the best (up to 3) scored again with another seed, the answer the best by their estimates pooled";
    if (report.missedShare > 0.0)
        how += "; " + std::to_string(static_cast<int>(std::ceil(100.0 * report.missedShare))) +
               "% of the weight fell on configurations first seen once the table was full";
    return how;
}

}  // namespace

SampledMap sampledMaximumAPosteriori(const Network& network, const Evidence& evidence,
                                     const std::vector<int>& variables, const InferenceOptions& options,
                                     std::optional<double> searchSeconds) {
    if (!algorithmEntry(options.algorithm).showsSamples && options.algorithm != Algorithm::MiniBucket)
        throw std::invalid_argument(std::string(algorithmName(options.algorithm)) +
                                    " does not sample: sampled most probable states take epis, ais, bpis or wmb");
    checkJointVariables(network, variables);
    const std::vector<int> free = unobservedAmong(evidence, variables);
    if (static_cast<int>(free.size()) > kMostSampledMapNodes)
        throw std::invalid_argument("the approximate most probable states take at most " +
                                    std::to_string(kMostSampledMapNodes) + " unobserved chosen nodes, not " +
                                    std::to_string(free.size()) +
                                    ": each move of its search estimates P(x, e) once per other state of each");

    ConfigurationWatch watch(free);
    InferenceOptions candidatesRun = options;
    candidatesRun.queried = free;
    if (algorithmEntry(options.algorithm).showsSamples) candidatesRun.watch = &watch;
    const InferenceResult run = infer(network, evidence, candidatesRun);
    const ConfigurationWeights* weights = watch.merged();

    SampledMap answer;
    SampledMapReport& report = answer.report;
    report.sampling = run.sampling;
    report.missedShare = weights ? weights->missedShare() : 0.0;
    MapSearch search(network, evidence, free, options,
                     searchSeconds.value_or(options.maxSeconds.value_or(kDefaultSearchSeconds)));
    for (const std::vector<int>& candidate : candidatesOf(run, weights, free)) {
        ++report.candidates;
        search.climb(candidate, report);
        if (!report.localOptimum) break;
    }
    const auto [best, bestScore] = search.best(sampledScores(run, weights));
    report.scored = search.scored();
    report.how = methodOf(options, report);

    Explanation& explanation = answer.explanation;
    explanation.states.assign(network.size(), -1);
    for (int v : variables)
        if (const auto observed = evidence.hard.find(v); observed != evidence.hard.end()) explanation.states[v] = observed->second;
    for (std::size_t i = 0; i < free.size(); ++i) explanation.states[free[i]] = best[i];
    explanation.exact = false;
    explanation.estimated = true;
    explanation.searchChanges = report.moves;
    explanation.logJoint = bestScore.logJoint;
    explanation.logJointError = bestScore.error;
    const double logEvidence = run.logProbabilityOfEvidence.value_or(0.0);
    explanation.logPosterior = bestScore.logJoint - logEvidence;
    explanation.logPosteriorError = std::hypot(bestScore.error, run.probabilityOfEvidenceRelativeError.value_or(0.0));
    return answer;
}

}  // namespace samplenet
