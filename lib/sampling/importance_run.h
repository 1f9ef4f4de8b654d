#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "lib/sampling/best_sample.h"
#include "lib/sampling/error_estimates.h"
#include "lib/sampling/generator_stream.h"
#include "lib/sampling/job_share.h"

class SampleNet;

namespace samplenet {

enum class ImportanceSampler { Epis, Ais };

struct SamplingSettings {
    // Threads that share the final samples. One gives the engine's own
    // results bit for bit.
    int jobs = 1;
    // Standard: the engine's generator, bit for bit its results. Wide: a
    // generator of period 2^64 for runs that draw more than 2^31 numbers.
    Generator generator = Generator::Standard;
    // Draw in rounds until every posterior entry is within this of the
    // truth with 95% confidence (ErrorEstimates::errorBound), taking the
    // host's sample count as the most to draw.
    std::optional<double> targetError;
    // With more than one job or a target error: called every few milliseconds with the samples
    // drawn so far; false ends the run (the time budget).
    std::function<bool(long)> keepGoing;
    // Keep this many of the most probable samples drawn, all different
    // (SamplingReport::best).
    int keepBestSamples = 0;
    // The nodes whose posteriors the run adds up (all by default), and a
    // joint posterior to add up from the same samples.
    SamplingPlan::Tallies tallies;
    // Draws the jobs' shares of the final samples instead of this process's
    // threads, with the same results as `jobs` threads (keepGoing is then
    // asked between rounds only). It cannot keep best samples.
    ShareDrawer* elsewhere = nullptr;
    // Also shown the final samples, one per job (none, or `jobs` of them).
    std::vector<BlockObserver*> watchers;
};

// What the final sampling stage did, for the user to judge its answer.
struct SamplingReport {
    long drawn = 0;
    // Samples drawn before any could repeat an earlier one: the generator's
    // stream repeats every 2^31 draws, one draw per unobserved node and
    // sample (each job has its own share of the stream).
    long distinct = 0;
    long positive = 0;       // samples of positive weight
    long impossible = 0;     // ended by a zero table entry
    long lostToRange = 0;    // ended by a weight that left double's range
    long outsideDouble = 0;  // kept, with a weight outside double's range
    // Samplers that search (mini-bucket sampling): dead ends backed out of.
    long backtracks = 0;
    // Error estimates of the answers (per node in the engine's order).
    ErrorEstimates errors;
    // With a target error: whether the run met it.
    std::optional<bool> targetMet;
    // With keepBestSamples: the best first; empty when no sample had weight.
    std::vector<ScoredSample> best;
    // With a joint tally: its probabilities (the last node's states varying
    // fastest), all 0 when no sample had weight; errors.jointStandardErrors
    // are theirs.
    std::vector<double> joint;
};

// One EPIS-BN or AIS-BN run on a network prepared with
// SetParameterForImportanceSampling: the engine's own stages up to the final
// samples, the final samples drawn by the block sampler on `jobs` threads,
// and the engine's write-back to the host. Returns the driver's result (0,
// or -5 when some node got no weight). Nodes the settings do not tally get
// placeholder beliefs, which the host must not use. Once the plan is built
// the engine's tables and messages are freed: afterwards the engine network
// serves the write-back only.
//
// Job k starts k/jobs of the way round the generator's stream from the
// run's seed, so that jobs draw different numbers until each has used its
// share of the stream.
int runImportanceSampler(SampleNet& net, ImportanceSampler sampler, const SamplingSettings& settings,
                         SamplingReport& report);

}  // namespace samplenet
