#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lib/benchmark/marginal_comparison.h"
#include "lib/inference/inference.h"

namespace samplenet {

// A network with its evidence and reference marginals: NAME.uai with
// NAME.uai.evid and NAME.uai.MAR beside it.
struct UaiInstance {
    std::string name;
    Network network;
    Evidence evidence;
    std::vector<std::vector<double>> reference;  // by variable of the network
};

// The instances of `folder` in name order, or only those named in `only`
// (in that order). Every file is read and checked before any run, so that a
// bad one stops the benchmark at once: ParseError, ModelError or
// EvidenceError naming the file, std::invalid_argument for a folder without
// instances or an unknown name in `only`.
std::vector<UaiInstance> readUaiInstances(const std::string& folder, const std::vector<std::string>& only = {});

// Every summary counts the runs within this largest error.
constexpr double kBenchmarkTolerance = 0.01;

struct UaiBenchmarkOptions {
    std::vector<Algorithm> algorithms{Algorithm::Auto, Algorithm::Exact, Algorithm::Epis, Algorithm::Ais,
                                      Algorithm::Lbp};
    InferenceOptions inference;  // the algorithm is set per run
    // Besides kBenchmarkTolerance, the summary counts the runs within this error.
    double within = kBenchmarkTolerance;
};

// One algorithm on one instance.
struct UaiRun {
    std::string instance;
    std::string algorithm;
    // Process CPU time of the inference call, every thread's.
    double cpuSeconds = 0.0;
    // Why inference gave no answer; empty when it did.
    std::string failure;
    MarginalComparison accuracy;
    // Where the answer was sampled: samples drawn, their effective sample
    // size and the reported 95% bound on the largest error.
    std::optional<long> samples;
    std::optional<double> effectiveSampleSize;
    std::optional<double> errorBound;
    // What an automatic choice ran, and why.
    std::string choice;

    bool answered() const { return failure.empty(); }
    std::optional<bool> boundHeld() const;
};

struct UaiAlgorithmSummary {
    std::string algorithm;
    int runs = 0;
    int withinHundredth = 0;
    int withinGiven = 0;
    int failures = 0;
    // Over the runs that answered.
    double medianCpuSeconds = 0.0;
    double largestCpuSeconds = 0.0;
    // Runs that reported a bound, and those whose bound covered the true
    // largest error.
    int bounds = 0;
    int boundsHeld = 0;
};

struct UaiBenchmarkReport {
    double within = kBenchmarkTolerance;
    std::vector<UaiRun> runs;  // instance by instance, algorithms in the order asked
    std::vector<UaiAlgorithmSummary> summary;
};

// Runs every algorithm on every instance, one run at a time (so that the
// process's CPU time is the run's), and calls `onRun` after each. A run that
// fails is recorded with its message and the benchmark goes on.
UaiBenchmarkReport runUaiBenchmark(const std::vector<UaiInstance>& instances, const UaiBenchmarkOptions& options,
                                   const std::function<void(const UaiRun&)>& onRun = {});

}  // namespace samplenet
