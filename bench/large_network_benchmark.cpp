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
//
// With --stages it prints instead, per network, what each stage of an EPIS-BN
// run costs on one thread and on --jobs threads (default 2): building the
// engine's network, the evidence propagation, the final lambdas, the
// sampling plan with the importance tables made node by node, the final
// samples, and LBP's 10 iterations on an engine network of its own; and the
// heap it holds after each stage, in bytes per entry of the network's tables
// (the messages freed before the plan, the final lambdas after it, as a run
// does).
//
//   large_network_benchmark --stages [--jobs N] [--samples N] NODES...
#include <malloc.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "engine/posterior_tables.h"
#include "engine/propagation.h"
#include "engine/random_state.h"
#include "engine/sampler_steps.h"
#include "engine/samplenet.h"
#include "host/qvr_clock.h"
#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "lib/inference/network_adapter.h"
#include "lib/sampling/block_sampler.h"
#include "lib/sampling/parallel_draws.h"

namespace {

using namespace samplenet;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double peakMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// What the heap holds now, by glibc's count.
std::size_t heapBytes() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::size_t tableEntries(const Network& network) {
    std::size_t entries = 0;
    for (const Variable& variable : network.variables) entries += variable.table.size();
    return entries;
}

// Seconds of each stage of one EPIS-BN run and of LBP, and the heap after
// each stage.
struct Stages {
    double engine = 0, propagation = 0, lambdas = 0, plan = 0, sampling = 0, lbp = 0;
    std::size_t engineHeap = 0, propagatedHeap = 0, releasedHeap = 0, planHeap = 0, samplingHeap = 0;
};

Stages measureStages(const Network& network, const std::map<int, int>& observed, int samples, int jobs) {
    Stages stages;
    RunClock clock(7, samples, nullptr);
    auto start = Clock::now();
    NetworkAdapter adapter(network, observed, EpisParams{4, 4, 8, 20, 0.006, 0.001, 0.0005, 0.0001}, samples, clock,
                           jobs);
    {
        // As a run does: the messages go once the final lambdas are formed,
        // and the plan makes each importance table as it copies it.
        SampleNet net(adapter);
        net.CreatePropagationBuffers();
        stages.engine = secondsSince(start);
        stages.engineHeap = heapBytes();
        start = Clock::now();
        sampler_steps::PropagateEvidence(net);
        stages.propagation = secondsSince(start);
        stages.propagatedHeap = heapBytes();
        start = Clock::now();
        posterior_tables::FormFinalLambdas(net);
        net.ReleaseMessages();
        stages.lambdas = secondsSince(start);
        stages.releasedHeap = heapBytes();
        start = Clock::now();
        const SamplingPlan plan(net, {}, [&net](int node, double* table) { posterior_tables::BuildInto(net, node, table); });
        stages.plan = secondsSince(start);
        stages.planHeap = heapBytes();
        net.ClearImportanceParameter();
        start = Clock::now();
        const auto seed = static_cast<std::uint64_t>(engine_random::Seed());
        if (jobs == 1) {
            BlockSampler sampler(plan);
            WeightSums sums(plan.sumCount);
            CountedQuota quota(samples);
            sampler.draw(seed, quota, sums);
            stages.samplingHeap = heapBytes();
        } else {
            ParallelDraws draws(plan, seed, Generator::Standard, jobs);
            draws.drawRound(samples, nullptr);
            stages.samplingHeap = heapBytes();
        }
        stages.sampling = secondsSince(start);
    }
    // LBP needs the messages the sampling run freed: a network of its own.
    SampleNet net(adapter);
    net.CreatePropagationBuffers();
    start = Clock::now();
    propagation::Prepare(net);
    propagation::Run(net, 10, propagation::OnEmptyBelief::MakeUniform);
    stages.lbp = secondsSince(start);
    net.ClearImportanceParameter();
    return stages;
}

void reportStages(const Network& network, std::size_t loadHeap, int samples, int jobs) {
    Evidence evidence;
    const auto children = network.children();
    for (int v = network.size() - 1; v >= 0 && evidence.hard.size() < 2; --v)
        if (children[v].empty()) evidence.hard[v] = 0;
    const double entries = static_cast<double>(tableEntries(network));
    const Stages one = measureStages(network, evidence.hard, samples, 1);
    const Stages shared = measureStages(network, evidence.hard, samples, jobs);
    const auto cell = [](double a, double b) {
        char text[64];
        std::snprintf(text, sizeof text, "%.3f / %.3f s (%.2fx)", a, b, b > 0 ? a / b : 0.0);
        return std::string(text);
    };
    std::printf("| %d | %.0f | %d | %s | %s | %s | %s | %s | %s | %.0f MiB |\n", network.size(), entries, samples,
                cell(one.engine, shared.engine).c_str(), cell(one.propagation, shared.propagation).c_str(),
                cell(one.lambdas, shared.lambdas).c_str(), cell(one.plan, shared.plan).c_str(),
                cell(one.sampling, shared.sampling).c_str(), cell(one.lbp, shared.lbp).c_str(), peakMiB());
    std::printf("\nheap per table entry (%.0f entries), cumulative: loaded network %.1f B, engine network %.1f B, "
                "propagated %.1f B, messages freed %.1f B, plan %.1f B, sampling (final lambdas freed) %.1f B\n\n",
                entries, loadHeap / entries, one.engineHeap / entries, one.propagatedHeap / entries,
                one.releasedHeap / entries, one.planHeap / entries, one.samplingHeap / entries);
    std::fflush(stdout);
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

Network writtenAndRead(int nodes, double& loadSeconds, std::size_t& loadHeap) {
    RandomNetworkOptions options;
    options.nodes = nodes;
    options.maxStates = nodes > 500000 ? 3 : 4;
    ReadLimits limits;
    limits.maxTotalEntries = std::size_t{1} << 31;
    const std::string path =
        (std::filesystem::temp_directory_path() / ("samplenet-bench-" + std::to_string(nodes) + ".uai")).string();
    writeNetwork(randomNetwork(options, limits), path);
    const std::size_t before = heapBytes();
    const auto start = Clock::now();
    Network network = readNetwork(path, limits);
    loadSeconds = secondsSince(start);
    loadHeap = heapBytes() - before;
    std::filesystem::remove(path);
    return network;
}

int stagesMain(const std::vector<int>& sizes, int samples, int jobs) {
    std::printf("| nodes | table entries | samples | engine network, 1 / %d threads | propagation | final lambdas "
                "| plan and importance tables | sampling | LBP 10 it. | peak memory |\n|---|---|---|---|---|---|---|---|---|---|\n",
                jobs);
    for (const int nodes : sizes) {
        double load = 0;
        std::size_t loadHeap = 0;
        const Network network = writtenAndRead(nodes, load, loadHeap);
        std::printf("(read in %.2f s)\n", load);
        reportStages(network, loadHeap, samples, jobs);
    }
    return 0;
}

int main(int argc, char** argv) {
    CLI::App app{"Cost of inference as random networks grow"};
    double samplesBudget = 2e8;  // node-samples per measurement
    bool stages = false;
    int jobs = 2;
    int samples = 2000;
    std::vector<int> sizes;
    app.add_option("--samples-budget", samplesBudget, "Node-samples per measurement")->check(CLI::PositiveNumber);
    app.add_flag("--stages", stages, "Time and weigh each stage of an EPIS-BN run instead");
    app.add_option("--jobs", jobs, "Threads of the staged run's parallel column")->check(CLI::Range(1, 256));
    app.add_option("--samples", samples, "Samples of the staged run")->check(CLI::PositiveNumber);
    app.add_option("nodes", sizes, "Nodes of each random network")->check(CLI::Range(1, 100000000));
    CLI11_PARSE(app, argc, argv);
    if (stages) return stagesMain(sizes, samples, jobs);
    std::printf("| network | nodes | load | junction-tree plan | samples | engine loop ns | blocks ns | blocks, 2 jobs ns "
                "| bare loop ns | LBP 10 it. | peak memory |\n|---|---|---|---|---|---|---|---|---|---|---|\n");
    auto start = Clock::now();
    const Network alarm = readNetwork(std::string(SAMPLENET_DATA) + "/networks/alarm.bif.gz");
    report("alarm", alarm, secondsSince(start), samplesBudget);
    for (const int nodes : sizes) {
        double load = 0;
        std::size_t loadHeap = 0;
        const Network network = writtenAndRead(nodes, load, loadHeap);
        report("random", network, load, samplesBudget);
    }
}
