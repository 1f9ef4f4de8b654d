// Cost of inference as networks grow: seeded random layered networks of the
// sizes given on the command line (and alarm, in the same run, as the
// yardstick), one or two observed nodes at the end. Prints one row per
// network: load and junction-tree planning time, EPIS-BN in ns per node and
// sample for the engine's own sample-by-sample loop, the block sampler on one
// and two threads, and a bare forward sampler over flat arrays; LBP's time
// for 10 iterations; and the process's peak memory so far.
//
//   large_network_benchmark [--samples-budget N] NODES...
//
// Run one size per process to read peak memory per size.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "engine/samplenet.h"
#include "host/qvr_clock.h"
#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "lib/inference/network_adapter.h"

namespace {

using namespace samplenet;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double peakMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// The baseline to beat: per sample and node one uniform number, the column
// that the parents' states select, and a linear scan of it; flat arrays in
// topological order, no weights.
double bareLoopNanoseconds(const Network& network, int samples) {
    const std::vector<int> order = network.topologicalOrder();
    std::vector<int> states(network.size(), 0);
    std::mt19937_64 rng(1);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    long checksum = 0;
    const auto start = Clock::now();
    for (int n = 0; n < samples; ++n) {
        for (const int v : order) {
            const Variable& variable = network.variables[v];
            std::size_t column = 0;
            for (const int p : variable.parents)
                column = column * network.variables[p].states.size() + static_cast<std::size_t>(states[p]);
            const double* entries = variable.table.data() + column * variable.states.size();
            const double u = uniform(rng);
            double sum = 0.0;
            int s = 0;
            for (; s + 1 < variable.stateCount(); ++s) {
                sum += entries[s];
                if (u <= sum) break;
            }
            states[v] = s;
        }
        checksum += states[order.back()];
    }
    const double seconds = secondsSince(start);
    if (checksum < 0) std::puts("");  // keeps the loop from being optimised away
    return seconds * 1e9 / (static_cast<double>(samples) * network.size());
}

// The engine's own EPIS-BN driver, sample by sample: what inference did
// before the block sampler.
double engineLoopNanoseconds(const Network& network, const std::map<int, int>& observed, int samples) {
    RunClock clock(7, samples, nullptr);
    NetworkAdapter adapter(network, observed, EpisParams{4, 4, 8, 20, 0.006, 0.001, 0.0005, 0.0001}, samples, clock);
    const auto start = Clock::now();
    SampleNet net(adapter);
    net.SetParameterForImportanceSampling();
    net.BN_EPIS_Sampling();
    net.ClearImportanceParameter();
    return secondsSince(start) * 1e9 / (static_cast<double>(samples) * network.size());
}

double inferSeconds(const Network& network, const Evidence& evidence, Algorithm algorithm, int samples, int jobs) {
    InferenceOptions options;
    options.algorithm = algorithm;
    options.samples = samples;
    options.seed = 7;
    options.jobs = jobs;
    options.lbpIterations = 10;
    options.memoryLimitBytes = std::size_t{16} << 30;
    return infer(network, evidence, options).seconds;
}

void report(const std::string& name, const Network& network, double loadSeconds, double samplesBudget) {
    Evidence evidence;
    const auto children = network.children();
    for (int v = network.size() - 1; v >= 0 && evidence.hard.size() < 2; --v)
        if (children[v].empty()) evidence.hard[v] = 0;
    const int samples = std::max(200, static_cast<int>(samplesBudget / network.size()));

    auto start = Clock::now();
    const CliqueStatistics cliques = estimateCliques(network);
    const double planning = secondsSince(start);
    const double nodeSamples = static_cast<double>(samples) * network.size();
    const double engine = engineLoopNanoseconds(network, evidence.hard, samples);
    const double oneJob = inferSeconds(network, evidence, Algorithm::Epis, samples, 1) * 1e9 / nodeSamples;
    const double twoJobs = inferSeconds(network, evidence, Algorithm::Epis, samples, 2) * 1e9 / nodeSamples;
    const double bare = bareLoopNanoseconds(network, samples);
    const double lbp = inferSeconds(network, evidence, Algorithm::Lbp, 1, 1);
    std::printf("| %s | %d | %.3f s | %.3f s%s | %d | %.1f | %.1f | %.1f | %.1f | %.2f s | %.0f MiB |\n", name.c_str(),
                network.size(), loadSeconds, planning, cliques.exceedsLimit ? " (above limit)" : "", samples, engine,
                oneJob, twoJobs, bare, lbp, peakMiB());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    double samplesBudget = 2e8;  // node-samples per measurement
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--samples-budget" && i + 1 < argc) {
            samplesBudget = std::stod(argv[++i]);
        } else {
            sizes.push_back(std::stoi(argument));
        }
    }
    std::printf("| network | nodes | load | junction-tree plan | samples | engine loop ns | blocks ns | blocks, 2 jobs ns "
                "| bare loop ns | LBP 10 it. | peak memory |\n|---|---|---|---|---|---|---|---|---|---|---|\n");
    auto start = Clock::now();
    const Network alarm = readNetwork(std::string(SAMPLENET_DATA) + "/networks/alarm.bif.gz");
    report("alarm", alarm, secondsSince(start), samplesBudget);
    for (const int nodes : sizes) {
        RandomNetworkOptions options;
        options.nodes = nodes;
        options.maxStates = nodes > 500000 ? 3 : 4;
        ReadLimits limits;
        limits.maxTotalEntries = std::size_t{1} << 31;
        const std::string path =
            (std::filesystem::temp_directory_path() / ("samplenet-bench-" + std::to_string(nodes) + ".uai")).string();
        writeNetwork(randomNetwork(options, limits), path);
        start = Clock::now();
        const Network network = readNetwork(path, limits);
        const double load = secondsSince(start);
        std::filesystem::remove(path);
        report("random", network, load, samplesBudget);
    }
}
