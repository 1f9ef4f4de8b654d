#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "lib/inference/algorithm.h"
#include "lib/inference/cancellation.h"
#include "lib/inference/run_clock.h"
#include "lib/sampling/generator_stream.h"

namespace samplenet {

class BlockObserver;

// Looks at the final samples of a sampling run (epis, ais, bpis): besides
// the run's own sums, a caller adds up what it needs of every sample.
class SampleWatch {
public:
    virtual ~SampleWatch() = default;
    // Called once the run's plan is built, before its final samples:
    // rowOf[v] is variable v's row in the blocks the observers see. Returns
    // one observer per job; job k's blocks go to the k-th.
    virtual std::vector<BlockObserver*> observers(const std::vector<std::size_t>& rowOf, int jobs) = 0;
};

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

// The options of a run come in one record per concern; InferenceOptions
// gathers them, so that a caller sets `options.samples` while a function
// that reads one concern alone can say so by taking that record.

// What the samplers draw.
struct SamplingOptions {
    // Samples of the final sampling stage (EPIS, AIS, mini-bucket sampling);
    // kDefaultSamples when not set. With a target error it is only a cap,
    // and only when set: an uncapped run draws until the target is met or
    // its time budget is spent (see sampleLimit and timeBudget).
    std::optional<int> samples;
    // A fixed seed makes sampling runs repeatable; only its low 15 bits are
    // used. Without one, runs seed from the clock.
    std::optional<long> seed;
    // The samplers' random numbers: the engine's own generator (its 2^31
    // numbers repeat after 2^31 / (unobserved variables) samples), or an
    // opt-in generator of period 2^64 for longer runs.
    Generator generator = Generator::Standard;
    // EPIS, AIS: keep this many of the most probable complete samples drawn,
    // all different (InferenceResult::bestSamples): candidate explanations
    // of the evidence.
    int keepBestSamples = 0;
};

// How the propagation algorithms pass their messages.
struct PropagationOptions {
    EpisOptions epis;
    // Rounds of message passing of loopy belief propagation; every round
    // updates every variable once.
    int lbpIterations = 50;
    // LBP stops early once no belief changes by more than this in an
    // iteration; the result says whether it did.
    std::optional<double> lbpTolerance;
    // bpis: a propagated message becomes damping * old + (1 - damping) * new.
    double damping = 0.0;
};

// When a sampling run stops drawing.
struct StoppingRules {
    // Samplers: draw in rounds (1,000 samples, then twice the samples drawn
    // so far, and so on) until every posterior entry is within this of the
    // truth with 95% confidence, all at once, with at least 100 effective
    // samples; `samples`, when set, is then the most to draw. The result
    // says whether the target was met.
    std::optional<double> targetError;
    // Time budget of a sampling run: once it is spent, EPIS and AIS stop
    // drawing samples and report from those drawn (the clock is read about
    // every millisecond). Their set-up stages (EPIS's propagation, AIS's
    // learning) run to the end.
    std::optional<double> maxSeconds;
};

// What a run may use of the machine.
struct ResourceLimits {
    // Inference refuses networks whose tables would need more: exact
    // inference its clique tables, the other algorithms their working
    // copies of the network's tables. Mini-bucket sampling also bounds its
    // mini-buckets so that their messages fit it.
    std::size_t memoryLimitBytes = std::size_t{4} << 30;
    // Threads of one run: they share the samples of EPIS, AIS, mini-bucket
    // and converged-propagation sampling, each job drawing from its own share
    // of the generator's stream (results depend on the seed and the job
    // count; one job gives the same results as ever), and, on networks of
    // more than 256 nodes, the propagation rounds of EPIS and LBP and the
    // building of the sampling tables (results as with one thread).
    int jobs = 1;
};

// What a run computes besides every posterior.
struct QuerySelection {
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
};

// How a run in progress reports and is stopped.
struct RunControl {
    // Called now and then during runs longer than a second.
    ProgressCallback progress;
    // Stops the run from another thread or from the caller's own check; see
    // Cancellation. A stopped run throws RunCancelled.
    Cancellation cancellation;
    // EPIS, AIS, bpis: shown every final sample; the other algorithms refuse
    // it with std::invalid_argument. It does not change the run's results.
    SampleWatch* watch = nullptr;
};

struct InferenceOptions : SamplingOptions,
                          PropagationOptions,
                          StoppingRules,
                          ResourceLimits,
                          QuerySelection,
                          RunControl {
    Algorithm algorithm = Algorithm::Epis;
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

}  // namespace samplenet
