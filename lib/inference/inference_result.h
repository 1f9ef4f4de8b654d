#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "lib/inference/inference_options.h"
#include "lib/inference/loopy_propagation.h"
#include "lib/sampling/importance_run.h"

namespace samplenet {

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
    // The options of the run that gave these numbers: those given, or for
    // auto those of the step that answered (settings.algorithm says which).
    InferenceOptions settings;
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

}  // namespace samplenet
