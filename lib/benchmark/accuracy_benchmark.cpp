#include "lib/benchmark/accuracy_benchmark.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "lib/benchmark/median.h"

namespace samplenet {
namespace {

template <typename Run>
double timed(Run run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// How well the samplers' reported errors describe their true errors.
class Calibration {
public:
    void add(const InferenceResult& result, const std::vector<std::vector<double>>& exact, const Evidence& evidence,
             const InferenceOptions& run) {
        double largestError = 0.0;
        for (std::size_t v = 0; v < exact.size(); ++v) {
            if (evidence.hard.count(static_cast<int>(v)) != 0) continue;
            for (std::size_t s = 0; s < exact[v].size(); ++s) {
                const double error = std::abs(result.posteriors[v][s] - exact[v][s]);
                largestError = std::max(largestError, error);
                ++entries;
                covered += error <= kNormalQuantile * result.standardErrors[v][s] ? 1 : 0;
            }
        }
        ++runs;
        unreliable += result.sampling->errors.effectiveSampleSize < kReliableSampleSize ? 1 : 0;
        if (run.targetError) targetMet += largestError <= *run.targetError ? 1 : 0;
        withTarget = run.targetError.has_value();
    }

    void report(BenchmarkRow& row) const {
        if (runs == 0) return;
        if (entries > 0) row.coverage = static_cast<double>(covered) / entries;
        row.unreliableRuns = unreliable;
        if (withTarget) row.targetMetShare = static_cast<double>(targetMet) / runs;
    }

private:
    static constexpr double kNormalQuantile = 1.96;
    long entries = 0;
    long covered = 0;
    int runs = 0;
    int unreliable = 0;
    int targetMet = 0;
    bool withTarget = false;
};

class Runner {
public:
    Runner(const Network& network, const JunctionTree& exact, const std::vector<EvidenceCase>& cases,
           const BenchmarkOptions& options)
        : network(network), options(options), cases(cases) {
        for (const EvidenceCase& c : cases) answers.push_back(exact.infer(c.evidence));
    }

    BenchmarkRow measure(Algorithm algorithm, int samples, CaseKind kind) {
        BenchmarkRow row{std::string(algorithmName(algorithm)), kind, algorithm == Algorithm::Lbp ? 0 : samples};
        std::vector<double> seconds;
        Calibration calibration;
        for (std::size_t i = 0; i < cases.size(); ++i) {
            if (cases[i].kind != kind) continue;
            ++row.cases;
            InferenceOptions run = options.inference;
            run.algorithm = algorithm;
            if (row.samples > 0) run.samples = row.samples;
            run.seed = options.seed + static_cast<long>(i);
            try {
                const InferenceResult result = infer(network, cases[i].evidence, run);
                seconds.push_back(result.seconds);
                const PosteriorDistance accuracy =
                    posteriorDistance(result.posteriors, answers[i].posteriors, cases[i].evidence);
                row.meanHellinger += accuracy.mean;
                row.maxHellinger = std::max(row.maxHellinger, accuracy.max);
                if (result.sampling) calibration.add(result, answers[i].posteriors, cases[i].evidence, run);
            } catch (const InferenceError& error) {
                ++row.failures;
                seconds.push_back(error.partial.seconds);
            }
        }
        const int succeeded = row.cases - row.failures;
        if (succeeded > 0) row.meanHellinger /= succeeded;
        calibration.report(row);
        row.medianSeconds = median(seconds);
        if (row.samples > 0 && row.medianSeconds > 0.0) row.samplesPerSecond = row.samples / row.medianSeconds;
        return row;
    }

    BenchmarkRow measureExact(const JunctionTree& exact, CaseKind kind) {
        BenchmarkRow row{"exact", kind, 0};
        std::vector<double> seconds;
        for (const EvidenceCase& c : cases) {
            if (c.kind != kind) continue;
            ++row.cases;
            seconds.push_back(timed([&] { exact.infer(c.evidence); }));
        }
        row.medianSeconds = median(seconds);
        return row;
    }

    // A run with one final sample costs what the sampler does before sampling.
    StageCost measureStage(Algorithm algorithm, const std::string& stage) {
        std::vector<double> seconds;
        for (std::size_t i = 0; i < cases.size(); ++i) {
            InferenceOptions run = options.inference;
            run.algorithm = algorithm;
            run.samples = 1;
            run.seed = options.seed + static_cast<long>(i);
            try {
                seconds.push_back(infer(network, cases[i].evidence, run).seconds);
            } catch (const InferenceError& error) {
                seconds.push_back(error.partial.seconds);
            }
        }
        return {stage, median(seconds)};
    }

private:
    const Network& network;
    const BenchmarkOptions& options;
    const std::vector<EvidenceCase>& cases;
    std::vector<ExactResult> answers;
};

}  // namespace

double hellingerDistance(const std::vector<double>& p, const std::vector<double>& q) {
    double sum = 0.0;
    for (std::size_t i = 0; i < p.size(); ++i) {
        const double d = std::sqrt(p[i]) - std::sqrt(q[i]);
        sum += d * d;
    }
    return std::sqrt(sum / 2.0);
}

PosteriorDistance posteriorDistance(const std::vector<std::vector<double>>& approximate,
                                    const std::vector<std::vector<double>>& exact, const Evidence& evidence) {
    PosteriorDistance distance;
    int counted = 0;
    for (std::size_t v = 0; v < exact.size(); ++v) {
        if (evidence.hard.count(static_cast<int>(v)) != 0) continue;
        const double h = hellingerDistance(approximate[v], exact[v]);
        distance.mean += h;
        distance.max = std::max(distance.max, h);
        ++counted;
    }
    if (counted > 0) distance.mean /= counted;
    return distance;
}

BenchmarkReport runBenchmark(const std::string& name, const Network& network, const JunctionTree& exact,
                             const std::vector<EvidenceCase>& cases, const BenchmarkOptions& options) {
    BenchmarkReport report{name, network.size(), cases, {}, {}};
    Runner runner(network, exact, cases, options);
    for (CaseKind kind : {CaseKind::Likely, CaseKind::Unlikely}) {
        if (options.includeExact) report.rows.push_back(runner.measureExact(exact, kind));
        for (Algorithm algorithm : options.algorithms) {
            if (algorithm == Algorithm::Lbp) {
                report.rows.push_back(runner.measure(algorithm, 0, kind));
                continue;
            }
            for (int samples : options.sampleCounts) report.rows.push_back(runner.measure(algorithm, samples, kind));
        }
    }
    for (Algorithm algorithm : options.algorithms) {
        if (algorithm == Algorithm::Ais) report.stages.push_back(runner.measureStage(algorithm, "ais learning"));
        if (algorithm == Algorithm::Epis)
            report.stages.push_back(runner.measureStage(algorithm, "epis propagation and tables"));
    }
    return report;
}

}  // namespace samplenet
