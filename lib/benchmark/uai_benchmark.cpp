#include "lib/benchmark/uai_benchmark.h"

#include <time.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "lib/benchmark/median.h"
#include "lib/benchmark/reference_marginals.h"
#include "lib/formats/formats.h"

namespace samplenet {
namespace {

const std::string kNetworkExtension = ".uai";

// Every thread's CPU time: the samplers may run several jobs.
double processCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

std::string pathOf(const std::string& folder, const std::string& name, const std::string& suffix = "") {
    return (std::filesystem::path(folder) / (name + kNetworkExtension + suffix)).string();
}

bool isInstance(const std::string& folder, const std::string& name) {
    return std::filesystem::is_regular_file(pathOf(folder, name)) &&
           std::filesystem::is_regular_file(pathOf(folder, name, ".evid")) &&
           std::filesystem::is_regular_file(pathOf(folder, name, ".MAR"));
}

std::vector<std::string> instanceNames(const std::string& folder) {
    if (!std::filesystem::is_directory(folder)) throw std::invalid_argument(folder + ": not a folder");
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::filesystem::path& path = entry.path();
        if (path.extension() == kNetworkExtension && isInstance(folder, path.stem().string()))
            names.push_back(path.stem().string());
    }
    std::sort(names.begin(), names.end());
    if (names.empty())
        throw std::invalid_argument(folder + ": no NAME.uai with NAME.uai.evid and NAME.uai.MAR beside it");
    return names;
}

UaiInstance readInstance(const std::string& folder, const std::string& name) {
    UaiInstance instance{name, readNetwork(pathOf(folder, name)), {}, {}};
    instance.evidence = readUaiEvidence(instance.network, pathOf(folder, name, ".evid"));
    const std::string marginals = pathOf(folder, name, ".MAR");
    instance.reference = marginalsOfNetwork(instance.network, readReferenceMarginals(marginals), marginals);
    return instance;
}

UaiRun runOne(const UaiInstance& instance, Algorithm algorithm, InferenceOptions options) {
    options.algorithm = algorithm;
    UaiRun run;
    run.instance = instance.name;
    run.algorithm = algorithmName(algorithm);
    std::optional<InferenceResult> result;
    const double start = processCpuSeconds();
    try {
        result = infer(instance.network, instance.evidence, options);
    } catch (const std::exception& error) {
        // Whatever stopped this run (evidence found impossible, a network
        // above the memory limit, no compatible sample) is its result here.
        run.failure = error.what();
    }
    run.cpuSeconds = processCpuSeconds() - start;
    if (!result) return run;
    try {
        run.accuracy = compareMarginals(result->posteriors, result->valid, instance.reference, instance.evidence);
    } catch (const std::invalid_argument& error) {
        run.failure = error.what();
        return run;
    }
    run.samples = result->samplesDrawn;
    if (result->sampling) {
        run.effectiveSampleSize = result->sampling->errors.effectiveSampleSize;
        run.errorBound = result->sampling->errors.errorBound;
    }
    run.choice = result->choice;
    return run;
}

UaiAlgorithmSummary summarise(const std::string& algorithm, const std::vector<UaiRun>& runs, double within) {
    UaiAlgorithmSummary summary;
    summary.algorithm = algorithm;
    std::vector<double> seconds;
    for (const UaiRun& run : runs) {
        if (run.algorithm != algorithm) continue;
        ++summary.runs;
        if (!run.answered()) {
            ++summary.failures;
            continue;
        }
        seconds.push_back(run.cpuSeconds);
        summary.withinHundredth += run.accuracy.largestError <= kBenchmarkTolerance ? 1 : 0;
        summary.withinGiven += run.accuracy.largestError <= within ? 1 : 0;
        if (const auto held = run.boundHeld()) {
            ++summary.bounds;
            summary.boundsHeld += *held ? 1 : 0;
        }
    }
    summary.medianCpuSeconds = median(seconds);
    if (!seconds.empty()) summary.largestCpuSeconds = *std::max_element(seconds.begin(), seconds.end());
    return summary;
}

}  // namespace

std::optional<bool> UaiRun::boundHeld() const {
    if (!answered() || !errorBound) return std::nullopt;
    return *errorBound >= accuracy.largestError;
}

std::vector<UaiInstance> readUaiInstances(const std::string& folder, const std::vector<std::string>& only) {
    std::vector<std::string> names = only;
    if (names.empty()) names = instanceNames(folder);
    std::vector<UaiInstance> instances;
    for (const std::string& name : names) {
        if (!isInstance(folder, name))
            throw std::invalid_argument(pathOf(folder, name) + ": no such instance (with .evid and .MAR beside it)");
        instances.push_back(readInstance(folder, name));
    }
    return instances;
}

UaiBenchmarkReport runUaiBenchmark(const std::vector<UaiInstance>& instances, const UaiBenchmarkOptions& options,
                                   const std::function<void(const UaiRun&)>& onRun) {
    UaiBenchmarkReport report{options.within, {}, {}};
    for (const UaiInstance& instance : instances)
        for (Algorithm algorithm : options.algorithms) {
            report.runs.push_back(runOne(instance, algorithm, options.inference));
            if (onRun) onRun(report.runs.back());
        }
    for (Algorithm algorithm : options.algorithms)
        report.summary.push_back(summarise(std::string(algorithmName(algorithm)), report.runs, options.within));
    return report;
}

}  // namespace samplenet
