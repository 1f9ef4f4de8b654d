#include "lib/sampling/importance_run.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "engine/posterior_tables.h"
#include "engine/random_state.h"
#include "engine/sampler_steps.h"
#include "engine/samplenet.h"
#include "lib/sampling/best_sample.h"
#include "lib/sampling/block_sampler.h"
#include "lib/sampling/generator_stream.h"
#include "lib/sampling/parallel_draws.h"

namespace samplenet {

namespace {

constexpr int kMostStates = 1 << 16;  // a state index fits the sampler's 16 bits

// The engine's own protocol: the host is asked before every sample.
class AdapterQuota : public SampleQuota {
public:
    explicit AdapterQuota(SamplingAdapter& adapter) : adapter(adapter) {}
    bool grant() override {
        if (granted >= adapter.GetNumberOfSamples()) return false;
        ++granted;
        return true;
    }

private:
    SamplingAdapter& adapter;
    long granted = 0;
};

// The joint posterior the plan tallies (empty without one): its sums
// normalised, all 0 where no sample had weight.
std::vector<double> jointPosteriorOf(const SamplingPlan& plan, const WeightSums& sums) {
    std::vector<double> joint(plan.jointEntries, 0.0);
    const double* sum = sums.perState.data() + plan.firstJointSum;
    const double total = std::accumulate(sum, sum + plan.jointEntries, 0.0);
    if (total > 0.0)
        for (std::size_t k = 0; k < plan.jointEntries; ++k) joint[k] = sum[k] / total;
    return joint;
}

// The engine's stages up to the final samples, and the plan the samples
// read. What the samples read is held once, in the plan: the messages go as
// soon as the propagation is over, and EPIS-BN's importance tables are made
// one node at a time as the plan copies them, never all at once.
SamplingPlan preparedPlan(SampleNet& net, ImportanceSampler sampler, const SamplingPlan::Tallies& tallies) {
    net.CreatePropagationBuffers();
    if (sampler == ImportanceSampler::Ais) {
        sampler_steps::PrepareAis(net);
        net.ReleaseMessages();
        SamplingPlan plan(net, tallies);
        net.ClearImportanceParameter();
        return plan;
    }
    sampler_steps::PropagateEvidence(net);
    posterior_tables::FormFinalLambdas(net);
    net.ReleaseMessages();
    SamplingPlan plan(net, tallies, [&net](int node, double* table) { posterior_tables::BuildInto(net, node, table); });
    net.ClearImportanceParameter();
    return plan;
}

// Hands the sums to the engine, which writes the beliefs back to the host.
// An untallied node gets even weights where the run has weight at all, so
// that the write-back still fails exactly when no sample counted.
int writeBeliefs(SampleNet& net, const SamplingPlan& plan, const WeightSums& sums) {
    const double untallied = sums.total > 0.0 ? 1.0 : 0.0;
    for (int i = 0; i < net.nodeCount; ++i) {
        SampleNode& node = *net.nodes[i];
        if (node.evidence >= 0) continue;
        const double* sum = sums.perState.data() + plan.nodes[i].firstSum;
        for (int s = 0; s < node.numStates; ++s) node.weights[s] = plan.nodes[i].tallied ? sum[s] : untallied;
    }
    return sampler_steps::WriteBeliefs(net);
}

}  // namespace

int runImportanceSampler(SampleNet& net, ImportanceSampler sampler, const SamplingSettings& settings,
                         SamplingReport& report) {
    if (settings.jobs < 1) throw std::invalid_argument("the number of jobs must be at least 1");
    if (settings.elsewhere && settings.keepBestSamples > 0)
        throw std::invalid_argument("shares drawn elsewhere keep no best samples");
    if (!settings.watchers.empty() && static_cast<int>(settings.watchers.size()) != settings.jobs)
        throw std::invalid_argument("a sample watch needs one observer per job");
    const SamplingPlan plan = preparedPlan(net, sampler, settings.tallies);
    if (plan.widestNode > kMostStates)
        throw std::length_error("the samplers take variables of at most 65536 states");
    const auto seed = static_cast<std::uint64_t>(engine_random::Seed());
    // Small seeds would start the wide stream at neighbouring positions.
    const std::uint64_t start = settings.generator == Generator::Standard ? seed : generator_stream::mix(seed);

    report = SamplingReport{};
    // Made where it is filled: jobs keep sums of their own, and these take
    // their merge.
    WeightSums sums(0);
    // One per job; job 0's where there is one job.
    std::vector<BestSamples> best;
    if (settings.keepBestSamples > 0)
        for (int k = 0; k < settings.jobs; ++k) best.emplace_back(net, plan, settings.keepBestSamples);
    // What each job shows its blocks to: its best samples and its watcher.
    std::vector<ObserverPair> shown;
    for (int k = 0; k < settings.jobs; ++k)
        shown.emplace_back(best.empty() ? nullptr : &best[k], settings.watchers.empty() ? nullptr : settings.watchers[k]);
    if (settings.jobs == 1 && !settings.targetError && !settings.elsewhere) {
        sums = WeightSums(plan.sumCount);
        AdapterQuota quota(*net.adapter);
        BlockSampler blocks(plan, settings.generator);
        const std::uint64_t end = blocks.draw(start, quota, sums, shown.front().get());
        // The engine's generator ends where the engine would have left it.
        if (settings.generator == Generator::Standard) engine_random::SetSeed(static_cast<long long>(end));
        report.distinct = generator_stream::distinctSamples(sums.drawn, plan.drawnNodes,
                                                            generator_stream::periodOf(settings.generator));
    } else {
        const long cap = net.adapter->GetNumberOfSamples();
        ParallelDraws draws(plan, start, settings.generator, settings.jobs, {}, settings.elsewhere);
        if (shown.front().get()) {
            std::vector<BlockObserver*> observers;
            for (ObserverPair& job : shown) observers.push_back(job.get());
            draws.watch(observers);
        }
        if (settings.targetError) {
            report.targetMet = drawToTarget(
                *settings.targetError, cap,
                [&](long samples) { return draws.drawRound(samples, settings.keepGoing); },
                [&] { return estimateErrors(plan, draws.merged(), settings.jobs); });
        } else {
            draws.drawRound(cap, settings.keepGoing);
        }
        sums = draws.takeMerged();
        report.distinct = draws.distinctSamples();
    }
    report.drawn = sums.drawn;
    report.positive = sums.positive;
    report.impossible = sums.impossible;
    report.lostToRange = sums.lostToRange;
    report.outsideDouble = sums.outsideDouble;
    report.errors = estimateErrors(plan, sums, settings.jobs);
    for (std::size_t k = 1; k < best.size(); ++k) best.front().merge(best[k]);
    if (!best.empty()) report.best = best.front().samples();

    report.joint = jointPosteriorOf(plan, sums);

    return writeBeliefs(net, plan, sums);
}

}  // namespace samplenet
