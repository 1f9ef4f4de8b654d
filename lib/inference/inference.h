#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "lib/inference/cancellation.h"
#include "lib/inference/loopy_propagation.h"
#include "lib/inference/run_clock.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/sampling/importance_run.h"

namespace samplenet {

enum class Algorithm {
    Epis,  // importance sampling from a loopy-propagation importance function
    Ais,   // adaptive importance sampling: learns the importance function first
    Lbp,   // loopy belief propagation
    Exact, // junction tree; refuses networks whose cliques exceed the memory limit
    Auto,  // exact where it is quick, else EPIS with a precision target, with fallbacks
    MiniBucket,  // importance sampling from a memory-bounded weighted mini-bucket elimination, backtracking on zeros
    Propagated,  // importance sampling from tables of belief propagation run to convergence, sequentially
};

std::string_view algorithmName(Algorithm algorithm);
std::optional<Algorithm> algorithmNamed(std::string_view name);

struct EpisOptions {
    // Propagation rounds that shape the importance function; runs use at
    // most the network's depth (variables on its longest directed path).
    int propagationLength = 4;
    // Importance tables are kept away from zero by an epsilon chosen by a
    // variable's state count: up to limit1 states epsilon1, up to limit2
    // epsilon2, up to limit3 epsilon3, more epsilon4.
    int stateCountLimit1 = 4;
    int stateCountLimit2 = 8;
    int stateCountLimit3 = 20;
    double epsilon1 = 0.006;
    double epsilon2 = 0.001;
    double epsilon3 = 0.0005;
    double epsilon4 = 0.0001;
};

// Samples of a sampling run that sets no count and no target error.
constexpr int kDefaultSamples = 100000;
// Time budget of a target-error run that sets neither a sample count nor a
// budget of its own.
constexpr double kDefaultTargetSeconds = 10.0;

struct InferenceOptions {
    Algorithm algorithm = Algorithm::Epis;
    // Samples of the final sampling stage (EPIS, AIS, mini-bucket sampling);
    // kDefaultSamples when not set. With a target error it is only a cap,
    // and only when set: an uncapped run draws until the target is met or
    // its time budget is spent (see sampleLimit and timeBudget).
    std::optional<int> samples;
    // A fixed seed makes sampling runs repeatable; only its low 15 bits are
    // used. Without one, runs seed from the clock.
    std::optional<long> seed;
    EpisOptions epis;
    // Rounds of message passing of loopy belief propagation; every round
    // updates every variable once.
    int lbpIterations = 50;
    // LBP stops early once no belief changes by more than this in an
    // iteration; the result says whether it did.
    std::optional<double> lbpTolerance;
    // bpis: a propagated message becomes damping * old + (1 - damping) * new.
    double damping = 0.0;
    // Inference refuses networks whose tables would need more: exact
    // inference its clique tables, the other algorithms their working
    // copies of the network's tables. Mini-bucket sampling also bounds its
    // mini-buckets so that their messages fit it.
    std::size_t memoryLimitBytes = std::size_t{4} << 30;
    // Time budget of a sampling run: once it is spent, EPIS and AIS stop
    // drawing samples and report from those drawn (the clock is read about
    // every millisecond). Their set-up stages (EPIS's propagation, AIS's
    // learning) run to the end.
    std::optional<double> maxSeconds;
    // Threads that share the samples of one run (EPIS, AIS, mini-bucket
    // sampling). Each job draws from its own share of the generator's
    // stream, so results depend on the seed and the job count; one job gives
    // the same results as ever.
    int jobs = 1;
    // The samplers' random numbers: the engine's own generator (its 2^31
    // numbers repeat after 2^31 / (unobserved variables) samples), or an
    // opt-in generator of period 2^64 for longer runs.
    Generator generator = Generator::Standard;
    // Samplers: draw in rounds (1,000 samples, then twice the samples drawn
    // so far, and so on) until every posterior entry is within this of the
    // truth with 95% confidence, all at once, with at least 100 effective
    // samples; `samples`, when set, is then the most to draw. The result
    // says whether the target was met.
    std::optional<double> targetError;
    // Inference computes only these variables' posteriors (all when empty)
    // and leaves the others empty and invalid: exact inference builds its
    // junction tree over only what they need, the samplers add up only their
    // sums (and judge a target error by them). LBP computes every posterior.
    std::vector<int> queried;
    // EPIS, AIS: also add up the joint posterior of these variables, one
    // table with an entry per combination of their states, from the same
    // samples (InferenceResult::joint). Its entries count towards a target
    // error. Exact inference and LBP ignore it.
    std::vector<int> joint;
    // EPIS, AIS: keep this many of the most probable complete samples drawn,
    // all different (InferenceResult::bestSamples): candidate explanations
    // of the evidence.
    int keepBestSamples = 0;
    // Called now and then during runs longer than a second.
    ProgressCallback progress;
    // Stops the run from another thread or from the caller's own check; see
    // Cancellation. A stopped run throws RunCancelled.
    Cancellation cancellation;
};

// What mini-bucket sampling's proposal was built with.
struct MiniBucketReport {
    std::size_t entriesPerMiniBucket = 0;  // the bound on a mini-bucket's table
    std::size_t messageEntries = 0;        // held by all messages together
    int buckets = 0;                       // variables eliminated
    int splitBuckets = 0;                  // buckets split into mini-buckets (0: exact elimination)
};

// P(variables | evidence) as one table: one dimension per variable in the
// order given, the last varying fastest.
struct JointPosterior {
    std::vector<int> variables;
    std::vector<double> probabilities;
    // Estimated from samples: the standard error of every entry (empty when
    // exact).
    std::vector<double> standardErrors;
};

struct InferenceResult {
    // posteriors[v][s] = P(variable v in state s | evidence).
    std::vector<std::vector<double>> posteriors;
    std::vector<bool> valid;  // valid[v]: posteriors[v] was computed
    double seconds = 0.0;
    // Samples the sampling stage drew (EPIS, AIS): the requested number, or
    // fewer when the time budget ran out.
    std::optional<long> samplesDrawn;
    // What the sampling stage did (EPIS, AIS): distinct samples, samples of
    // zero weight and why.
    std::optional<SamplingReport> sampling;
    // Automatic choice: what ran and why ("exact: the junction tree holds
    // ..."); empty when the algorithm was named.
    std::string choice;
    // What LBP did: iterations run, the last change, whether it converged.
    std::optional<PropagationReport> propagation;
    // Natural log of the probability of the evidence: exact from exact
    // inference, estimated by the samplers (the log of their mean weight).
    std::optional<double> logProbabilityOfEvidence;
    // Samplers: the relative standard error of that estimate, and the
    // standard error of every posterior entry, by variable and state (0 for
    // observed variables).
    std::optional<double> probabilityOfEvidenceRelativeError;
    std::vector<std::vector<double>> standardErrors;
    // With keepBestSamples: the most probable samples, best first, each a
    // state per variable; empty when no sample had weight.
    std::vector<std::vector<int>> bestSamples;
    // With InferenceOptions::joint, from the samplers.
    std::optional<JointPosterior> joint;
    // Mini-bucket sampling: the elimination its proposal came from.
    std::optional<MiniBucketReport> miniBuckets;
};

// The most samples a sampling run draws: `samples` when set; otherwise
// kDefaultSamples, or with a target error the largest int (no cap: the time
// budget ends the run).
int sampleLimit(const InferenceOptions& options);
// Whether a target-error run has no sample cap.
bool drawsToTargetUncapped(const InferenceOptions& options);
// The run's time budget: maxSeconds when set, else kDefaultTargetSeconds for
// an uncapped target-error run, else none.
std::optional<double> timeBudget(const InferenceOptions& options);

// The network is too large for the chosen algorithm within the memory limit.
class NetworkTooLargeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Inference that could not produce posteriors: the evidence is impossible,
// or no sample was compatible with it. `partial` holds what was computed.
class InferenceError : public std::runtime_error {
public:
    InferenceError(const std::string& message, InferenceResult partial)
        : std::runtime_error(message), partial(std::move(partial)) {}
    InferenceResult partial;
};

// Posterior marginals of every variable. Throws ModelError for a network
// that fails validate(), NetworkTooLargeError (or ExactMemoryError) for one
// above the memory limit, std::invalid_argument for bad options,
// EvidenceError for malformed evidence, InferenceError when inference fails,
// RunCancelled when options.cancellation stops it. Any thread may call it:
// runs of EPIS, AIS and LBP take turns through the engine lock (the engine's
// random state and clock are process-wide), exact runs go side by side.
InferenceResult infer(const Network& network, const Evidence& evidence, const InferenceOptions& options);

}  // namespace samplenet
