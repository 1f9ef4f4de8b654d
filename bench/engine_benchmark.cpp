// Micro-benchmarks of the hot paths: one weighted sample, one learning
// update, one propagation round, network loading, exact inference, and a
// sampling run by what it adds up.
#include <benchmark/benchmark.h>

#include <string>

#include "engine/propagation.h"
#include "engine/samplenet.h"
#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/inference/inference.h"
#include "lib/inference/network_adapter.h"

namespace {

using namespace samplenet;

std::string networkPath(const std::string& name) {
    return std::string(SAMPLENET_DATA) + "/networks/" + name + ".bif.gz";
}

const Network& network(const std::string& name) {
    static std::map<std::string, Network> loaded;
    auto it = loaded.find(name);
    if (it == loaded.end()) it = loaded.emplace(name, readNetwork(networkPath(name))).first;
    return it->second;
}

// Evidence on a few leaves, so that propagation and learning have work.
std::map<int, int> leafEvidence(const Network& net, int count) {
    std::map<int, int> observed;
    const auto children = net.children();
    for (int v = net.size() - 1; v >= 0 && static_cast<int>(observed.size()) < count; --v)
        if (children[v].empty()) observed[v] = 0;
    return observed;
}

// A network set up for one run, over alarm with five leaves observed.
struct PreparedRun {
    explicit PreparedRun(const std::string& name, int samples = 1)
        : clock(1, samples, nullptr),
          adapter(network(name), leafEvidence(network(name), 5), EpisParams{4, 4, 8, 20, 0.006, 0.001, 0.0005, 0.0001},
                  samples, clock),
          net(adapter) {
        net.SetParameterForImportanceSampling();
    }
    ~PreparedRun() { net.ClearImportanceParameter(); }
    RunClock clock;
    NetworkAdapter adapter;
    SampleNet net;
};

void BM_OneSample(benchmark::State& state) {
    PreparedRun run("alarm");
    run.net.BN_EPIS_Sampling();  // builds the importance tables
    for (auto _ : state) run.net.AddWeight(run.net.OneImportanceSample());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OneSample);

void BM_LearningUpdate(benchmark::State& state) {
    PreparedRun run("alarm");
    for (auto _ : state) {
        state.PauseTiming();
        run.net.learningRate = 0.4;
        for (int i = 0; i < 2500; ++i) run.net.AddImportantTable(run.net.OneImportanceSample(), false);
        state.ResumeTiming();
        run.net.UpdateNormalizedTable();
    }
}
BENCHMARK(BM_LearningUpdate);

void BM_PropagationRound(benchmark::State& state) {
    PreparedRun run(state.range(0) == 0 ? "alarm" : "hailfinder");
    propagation::Prepare(run.net);
    for (auto _ : state) propagation::Run(run.net, 1, propagation::OnEmptyBelief::MakeUniform);
}
BENCHMARK(BM_PropagationRound)->Arg(0)->Arg(1);

void BM_LoadNetwork(benchmark::State& state) {
    const std::string name = state.range(0) == 0 ? "alarm" : "munin";
    for (auto _ : state) benchmark::DoNotOptimize(readNetwork(networkPath(name)));
}
BENCHMARK(BM_LoadNetwork)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_ExactInference(benchmark::State& state) {
    const Network& alarm = network("alarm");
    const JunctionTree tree(alarm);
    Evidence evidence;
    evidence.hard = leafEvidence(alarm, 5);
    for (auto _ : state) benchmark::DoNotOptimize(tree.infer(evidence));
}
BENCHMARK(BM_ExactInference)->Unit(benchmark::kMicrosecond);

// A whole EPIS-BN run of 100,000 samples on pigs with five leaves
// observed, adding up every node's sums (0), three queried nodes' (1), or
// those three and their joint posterior (2).
void BM_SamplingTallies(benchmark::State& state) {
    const Network& pigs = network("pigs");
    Evidence evidence;
    evidence.hard = leafEvidence(pigs, 5);
    InferenceOptions options;
    options.samples = 100000;
    options.seed = 1;
    if (state.range(0) >= 1) options.queried = {0, pigs.size() / 2, pigs.size() - 1};
    if (state.range(0) == 2) options.joint = options.queried;
    for (auto _ : state) benchmark::DoNotOptimize(infer(pigs, evidence, options));
    state.SetItemsProcessed(state.iterations() * *options.samples);
}
BENCHMARK(BM_SamplingTallies)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
