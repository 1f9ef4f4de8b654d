#include "lib/sampling/importance_run.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <thread>
#include <vector>

#include "engine/random_state.h"
#include "engine/sampler_steps.h"
#include "engine/samplenet.h"
#include "lib/sampling/block_sampler.h"
#include "lib/sampling/generator_stream.h"

namespace samplenet {

namespace {

constexpr int kMostStates = 1 << 16;  // a state index fits the sampler's 16 bits
constexpr std::chrono::milliseconds kPollInterval{20};
constexpr long kPublishEvery = 64;

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

// One job's share of the samples, until the run is stopped.
class JobQuota : public SampleQuota {
public:
    JobQuota(long share, const std::atomic<bool>& stop, std::atomic<long>& drawn)
        : share(share), stop(stop), drawn(drawn) {}
    ~JobQuota() override { publish(); }
    bool grant() override {
        if (granted >= share || stop.load(std::memory_order_relaxed)) return false;
        if (++granted % kPublishEvery == 0) publish();
        return true;
    }

private:
    void publish() {
        drawn.fetch_add(granted - published, std::memory_order_relaxed);
        published = granted;
    }
    long share;
    const std::atomic<bool>& stop;
    std::atomic<long>& drawn;
    long granted = 0;
    long published = 0;
};

// Draws the final samples on `jobs` threads and merges their sums in job
// order, so that the result depends on the seed and the job count only.
WeightSums drawInParallel(const SamplingPlan& plan, std::uint64_t start, const SamplingSettings& settings,
                          long samples, SamplingReport& report) {
    const int jobs = settings.jobs;
    const std::uint64_t share = generator_stream::periodOf(settings.generator) / static_cast<std::uint64_t>(jobs);
    std::vector<WeightSums> sums(jobs, WeightSums(plan.sumCount));
    std::vector<std::exception_ptr> failures(jobs);
    std::atomic<bool> stop{false};
    std::atomic<long> drawn{0};
    std::atomic<int> running{jobs};
    std::vector<std::thread> threads;
    for (int k = 0; k < jobs; ++k) {
        const long jobSamples = samples / jobs + (k < samples % jobs ? 1 : 0);
        threads.emplace_back([&, k, jobSamples] {
            try {
                JobQuota quota(jobSamples, stop, drawn);
                BlockSampler sampler(plan, settings.generator);
                const std::uint64_t jobStart =
                    generator_stream::advance(start, share * static_cast<std::uint64_t>(k), settings.generator);
                sampler.draw(jobStart, quota, sums[k]);
            } catch (...) {
                failures[k] = std::current_exception();
            }
            running.fetch_sub(1);
        });
    }
    while (running.load() > 0) {
        std::this_thread::sleep_for(kPollInterval);
        if (settings.keepGoing && !settings.keepGoing(drawn.load(std::memory_order_relaxed))) stop = true;
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
    for (int k = 0; k < jobs; ++k) report.distinct += generator_stream::distinctSamples(sums[k].drawn, plan.drawnNodes, share);
    for (int k = 1; k < jobs; ++k) sums[0].merge(sums[k]);
    return std::move(sums[0]);
}

}  // namespace

int runImportanceSampler(SampleNet& net, ImportanceSampler sampler, const SamplingSettings& settings,
                         SamplingReport& report) {
    if (settings.jobs < 1) throw std::invalid_argument("the number of jobs must be at least 1");
    if (sampler == ImportanceSampler::Epis) {
        sampler_steps::PrepareEpis(net);
    } else {
        sampler_steps::PrepareAis(net);
    }
    const SamplingPlan plan(net);
    if (plan.widestNode > kMostStates)
        throw std::length_error("the samplers take variables of at most 65536 states");
    const auto seed = static_cast<std::uint64_t>(engine_random::Seed());
    // Small seeds would start the wide stream at neighbouring positions.
    const std::uint64_t start = settings.generator == Generator::Standard ? seed : generator_stream::mix(seed);

    report = SamplingReport{};
    WeightSums sums(plan.sumCount);
    if (settings.jobs == 1) {
        AdapterQuota quota(*net.adapter);
        BlockSampler blocks(plan, settings.generator);
        const std::uint64_t end = blocks.draw(start, quota, sums);
        // The engine's generator ends where the engine would have left it.
        if (settings.generator == Generator::Standard) engine_random::SetSeed(static_cast<long long>(end));
        report.distinct = generator_stream::distinctSamples(sums.drawn, plan.drawnNodes,
                                                            generator_stream::periodOf(settings.generator));
    } else {
        sums = drawInParallel(plan, start, settings, net.adapter->GetNumberOfSamples(), report);
    }
    report.drawn = sums.drawn;
    report.positive = sums.positive;
    report.impossible = sums.impossible;
    report.lostToRange = sums.lostToRange;
    report.outsideDouble = sums.outsideDouble;
    report.errors = estimateErrors(plan, sums);

    for (int i = 0; i < net.nodeCount; ++i) {
        SampleNode& node = *net.nodes[i];
        if (node.evidence >= 0) continue;
        const double* sum = sums.perState.data() + plan.nodes[i].firstSum;
        for (int s = 0; s < node.numStates; ++s) node.weights[s] = sum[s];
    }
    return sampler_steps::WriteBeliefs(net);
}

}  // namespace samplenet
