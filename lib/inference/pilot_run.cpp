#include "lib/inference/pilot_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <optional>

#include "lib/inference/mini_bucket_run.h"
#include "lib/inference/propagated_sampling_run.h"
#include "lib/model/errors.h"

namespace samplenet {

namespace {

// Each pilot's share of the time budget; the final run gets what is left.
constexpr double kPilotShare = 0.15;
// The final run's least share, should the pilots overrun theirs.
constexpr double kLeastFinalShare = 0.1;
// Each pilot draws this share of the sample count (at least
// kLeastPilotSamples), or without one kUncappedPilotSamples: enough to
// tell a collapsing proposal from a sound one, and quick where both are.
constexpr int kPilotSampleDivisor = 10;
constexpr int kUncappedPilotSamples = 20000;
constexpr int kLeastPilotSamples = 1000;
// Without a time budget, a pilot stops after this many seconds.
constexpr double kUnbudgetedPilotSeconds = 1.0;
constexpr double kDefaultTargetError = 0.01;
// A pilot whose estimate of the probability of the evidence is below the
// other's by more than this factor (and more than three of their combined
// relative errors) has missed part of the posterior.
const double kMissedMass = std::log(1.5);

constexpr std::array<Algorithm, 2> kProposals{Algorithm::Propagated, Algorithm::MiniBucket};

// What a pilot showed of its proposal, worst first.
enum class Outcome {
    Refused,    // above the memory limit
    Collapsed,  // no sample had weight
    Unknown,    // no sample drawn in its time (or evidence found impossible)
    Few,        // below kReliableSampleSize effective samples
    Answered,
};

struct Pilot {
    Algorithm algorithm;
    std::optional<InferenceResult> result;  // with samples of weight
    Outcome outcome = Outcome::Unknown;
    std::string failure;
    double seconds = 0.0;
};

InferenceResult runProposal(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    return options.algorithm == Algorithm::MiniBucket ? inferByMiniBuckets(network, evidence, options)
                                                      : inferByPropagatedImportance(network, evidence, options);
}

InferenceOptions pilotOptions(const InferenceOptions& options, Algorithm algorithm, int k) {
    InferenceOptions pilot = options;
    pilot.algorithm = algorithm;
    pilot.targetError.reset();
    pilot.progress = {};
    // Its own samples, apart from the final run's, so that choosing by
    // them leaves the final answer unbiased.
    if (options.seed) pilot.seed = *options.seed + 1 + k;
    if (const std::optional<double> budget = timeBudget(options)) {
        pilot.maxSeconds = kPilotShare * *budget;
        pilot.samples = options.samples ? std::max(kLeastPilotSamples, *options.samples / kPilotSampleDivisor)
                                        : kUncappedPilotSamples;
    } else {
        // A proposal that must search for every sample can take minutes
        // over a tenth of the count: by then the other has won.
        pilot.samples = std::max(kLeastPilotSamples, sampleLimit(options) / kPilotSampleDivisor);
        pilot.maxSeconds = kUnbudgetedPilotSeconds;
    }
    return pilot;
}

Pilot runPilot(const Network& network, const Evidence& evidence, const InferenceOptions& options, int k) {
    Pilot pilot{kProposals[k], std::nullopt, Outcome::Unknown, "", 0.0};
    const auto start = std::chrono::steady_clock::now();
    try {
        pilot.result = runProposal(network, evidence, pilotOptions(options, pilot.algorithm, k));
        const double effective = pilot.result->sampling ? pilot.result->sampling->errors.effectiveSampleSize : 0.0;
        pilot.outcome = effective >= kReliableSampleSize ? Outcome::Answered : Outcome::Few;
    } catch (const InferenceError& error) {
        pilot.failure = error.what();
        const bool drew = error.partial.sampling && error.partial.sampling->drawn > 0;
        pilot.outcome = drew ? Outcome::Collapsed : Outcome::Unknown;
    } catch (const NetworkTooLargeError& error) {
        pilot.failure = error.what();
        pilot.outcome = Outcome::Refused;
    }
    pilot.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return pilot;
}

double effectiveSamples(const InferenceResult& result) { return result.sampling->errors.effectiveSampleSize; }

double effectivePerSecond(const Pilot& pilot) {
    if (!pilot.result) return 0.0;
    return effectiveSamples(*pilot.result) / std::max(pilot.seconds, 1e-6);
}

// Whether the pilot's samples met dead ends: their weights then leave out
// the dead ends no sample met, a bias that more samples do not remove.
bool backtracked(const Pilot& pilot) { return pilot.result && pilot.result->sampling->backtracks > 0; }

// Whether pilot a's proposal is to be preferred to b's: a credible answer
// beats no sample drawn in time (which says nothing of a proposal), which
// beats a few effective samples (a collapsing proposal), which beat none.
// Of two credible answers, one of exact importance weights beats one that
// backtracked; otherwise more effective samples per second win.
bool better(const Pilot& a, const Pilot& b) {
    if (a.outcome != b.outcome) return a.outcome > b.outcome;
    if (a.outcome == Outcome::Answered && backtracked(a) != backtracked(b)) return backtracked(b);
    return effectivePerSecond(a) > effectivePerSecond(b);
}

// Whether `a` found clearly less of the probability of the evidence than
// `b`: its samples then missed part of the posterior that b's reached. Only
// exact importance weights estimate it without bias: samples that
// backtracked put it too high (e^-3.8 for e^-6.9 on a diagnosis network).
bool missedMass(const InferenceResult& a, const InferenceResult& b) {
    if (!a.logProbabilityOfEvidence || !b.logProbabilityOfEvidence || b.sampling->backtracks > 0) return false;
    const double noise = 3.0 * std::hypot(a.probabilityOfEvidenceRelativeError.value_or(0.0),
                                          b.probabilityOfEvidenceRelativeError.value_or(0.0));
    return *a.logProbabilityOfEvidence + std::max(kMissedMass, noise) < *b.logProbabilityOfEvidence;
}

// The largest difference between two runs' posteriors.
double largestDifference(const InferenceResult& a, const InferenceResult& b) {
    double largest = 0.0;
    for (std::size_t v = 0; v < a.posteriors.size() && v < b.posteriors.size(); ++v) {
        if (!a.valid[v] || !b.valid[v] || a.posteriors[v].size() != b.posteriors[v].size()) continue;
        for (std::size_t s = 0; s < a.posteriors[v].size(); ++s)
            largest = std::max(largest, std::abs(a.posteriors[v][s] - b.posteriors[v][s]));
    }
    return largest;
}

// The pilot whose proposal draws the final samples: the better one, unless
// it missed probability mass that the other's credible answer found.
int winnerOf(const std::array<Pilot, 2>& pilots) {
    int best = better(pilots[1], pilots[0]) ? 1 : 0;
    const Pilot& other = pilots[1 - best];
    if (pilots[best].result && other.outcome == Outcome::Answered && missedMass(*pilots[best].result, *other.result))
        best = 1 - best;
    return best;
}

std::string describePilot(const Pilot& pilot) {
    const std::string name(algorithmName(pilot.algorithm));
    if (!pilot.result) return fmt::format("{} failed in {:.2g} s ({})", name, pilot.seconds, pilot.failure);
    return fmt::format("{} {:.1f} effective samples in {:.2g} s, {} backtracks, ln P(e) {:.4g}", name,
                       effectiveSamples(*pilot.result), pilot.seconds, pilot.result->sampling->backtracks,
                       pilot.result->logProbabilityOfEvidence.value_or(NAN));
}

// Where the pilot passed over gave a credible answer (enough effective
// samples, no less of the evidence's probability) further from the final
// one than their two 95% bounds allow, one of the two is stuck in part of
// the posterior, which its own spread cannot show: the final bound grows
// to their difference plus the other's bound. Returns what it found.
std::string checkAgainst(InferenceResult& final, const InferenceResult& other) {
    if (!final.sampling || missedMass(other, final)) return "";
    ErrorEstimates& errors = final.sampling->errors;
    const double otherBound = other.sampling->errors.errorBound;
    const double difference = largestDifference(final, other);
    if (difference <= errors.errorBound + otherBound) return "";
    errors.errorBound = std::min(1.0, difference + otherBound);
    if (final.sampling->targetMet) final.sampling->targetMet = false;
    return fmt::format("; the other pilot's answer differs by {:.3g}, beyond both bounds: the bound grows to {:.3g}",
                       difference, errors.errorBound);
}

// Samples that met dead ends carry weights that leave out the dead ends no
// sample met: a bias that their spread cannot show (a largest error of
// 0.05 under a bound of 0.012 on a pedigree whose samples backtracked 90
// times each), so they give no bound. Returns what it found.
std::string voidBoundOfBacktrackedSamples(InferenceResult& final) {
    if (!final.sampling || final.sampling->backtracks == 0) return "";
    final.sampling->errors.errorBound = 1.0;
    if (final.sampling->targetMet) final.sampling->targetMet = false;
    return fmt::format("; its samples backtracked {} times: their weights are approximate and give no bound",
                       final.sampling->backtracks);
}

}  // namespace

InferenceResult inferByPilotedProposal(const Network& network, const Evidence& evidence,
                                       const InferenceOptions& options) {
    const auto start = std::chrono::steady_clock::now();
    const std::array<Pilot, 2> pilots{runPilot(network, evidence, options, 0), runPilot(network, evidence, options, 1)};
    const int winner = winnerOf(pilots);
    InferenceOptions final = options;
    final.algorithm = kProposals[winner];
    // Given time and no sample count, it draws until the answer is good
    // enough or the time is spent, as auto's samplers do.
    if (options.maxSeconds && !options.samples && !final.targetError) final.targetError = kDefaultTargetError;
    if (const std::optional<double> budget = timeBudget(options)) {
        const double spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        final.maxSeconds = std::max(*budget - spent, kLeastFinalShare * *budget);
    }
    InferenceResult result = runProposal(network, evidence, final);
    result.settings = final;
    std::string choice = fmt::format("{} (pilots: {}; {})", algorithmName(final.algorithm), describePilot(pilots[0]),
                                     describePilot(pilots[1]));
    if (const Pilot& other = pilots[1 - winner]; other.outcome == Outcome::Answered)
        choice += checkAgainst(result, *other.result);
    choice += voidBoundOfBacktrackedSamples(result);
    result.choice = std::move(choice);
    return result;
}

}  // namespace samplenet
