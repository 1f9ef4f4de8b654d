#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lib/benchmark/evidence_cases.h"
#include "lib/inference/inference.h"

namespace samplenet {

struct BenchmarkOptions {
    std::vector<Algorithm> algorithms{Algorithm::Epis, Algorithm::Ais, Algorithm::Lbp};
    std::vector<int> sampleCounts{10000, 100000};
    // Also time exact inference per case.
    bool includeExact = true;
    // Seeds of the sampling runs: case i runs with seed + i.
    long seed = 1;
    InferenceOptions inference;  // algorithm, samples and seed are set per run
};

// One algorithm at one sample count over the cases of one kind.
struct BenchmarkRow {
    std::string algorithm;
    CaseKind kind;
    int samples = 0;  // 0 where the algorithm draws none
    int cases = 0;
    int failures = 0;  // runs that produced no posteriors
    double medianSeconds = 0.0;
    double samplesPerSecond = 0.0;
    // Hellinger distance to the exact posteriors over unobserved variables:
    // mean of the per-case means, and the largest of any variable.
    double meanHellinger = 0.0;
    double maxHellinger = 0.0;
    // Samplers: the share of posterior entries of unobserved variables whose
    // exact value lies within 1.96 reported standard errors (a 95% interval),
    // and the runs whose effective sample size was below 100.
    std::optional<double> coverage{};
    int unreliableRuns = 0;
    // With a target error: the share of runs whose largest true error met it.
    std::optional<double> targetMetShare{};
};

// Fixed costs of the samplers, measured with a single final sample: AIS's
// learning stage and EPIS's propagation and table stage.
struct StageCost {
    std::string stage;
    double medianSeconds = 0.0;
};

struct BenchmarkReport {
    std::string network;
    int variables = 0;
    std::vector<EvidenceCase> cases;
    std::vector<BenchmarkRow> rows;
    std::vector<StageCost> stages;
};

BenchmarkReport runBenchmark(const std::string& name, const Network& network, const JunctionTree& exact,
                             const std::vector<EvidenceCase>& cases, const BenchmarkOptions& options);

double hellingerDistance(const std::vector<double>& p, const std::vector<double>& q);

// Hellinger distance between approximate and exact posteriors over the
// variables without hard evidence: their mean and the largest.
struct PosteriorDistance {
    double mean = 0.0;
    double max = 0.0;
};
PosteriorDistance posteriorDistance(const std::vector<std::vector<double>>& approximate,
                                    const std::vector<std::vector<double>>& exact, const Evidence& evidence);

}  // namespace samplenet
