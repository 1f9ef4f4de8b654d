#include "lib/sampling/parallel_draws.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

namespace samplenet {

namespace {

constexpr std::chrono::milliseconds kPollInterval{20};
constexpr long kPublishEvery = 64;
constexpr long kFirstRound = 1000;

// One job's share of a round, until the run is stopped.
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
    bool stopping() const override { return stop.load(std::memory_order_relaxed); }

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

}  // namespace

bool shareAmongJobs(int count, long samples, long before, const std::function<void(int, SampleQuota&)>& draw,
                    const std::function<bool(long)>& keepGoing, std::chrono::milliseconds pollInterval) {
    std::vector<std::exception_ptr> failures(count);
    std::atomic<bool> stop{false};
    std::atomic<long> drawn{before};
    std::atomic<int> running{count};
    std::vector<std::thread> threads;
    for (int k = 0; k < count; ++k) {
        const long jobSamples = jobQuota(samples, count, k);
        threads.emplace_back([&, k, jobSamples] {
            try {
                JobQuota quota(jobSamples, stop, drawn);
                draw(k, quota);
            } catch (...) {
                failures[k] = std::current_exception();
            }
            running.fetch_sub(1);
        });
    }
    // keepGoing may throw to cancel the run: the jobs stop and are joined
    // before the exception leaves, as they use this frame.
    std::exception_ptr cancelled;
    while (running.load() > 0) {
        std::this_thread::sleep_for(pollInterval);
        if (!keepGoing || stop) continue;
        try {
            if (!keepGoing(drawn.load(std::memory_order_relaxed))) stop = true;
        } catch (...) {
            cancelled = std::current_exception();
            stop = true;
        }
    }
    for (std::thread& thread : threads) thread.join();
    if (cancelled) std::rethrow_exception(cancelled);
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
    return !stop;
}

bool drawToTarget(double target, long cap, const std::function<bool(long)>& drawRound,
                  const std::function<ErrorEstimates()>& estimate) {
    long total = 0;
    for (long next = std::min(cap, kFirstRound);; next = std::min(cap, 2 * next)) {
        const bool going = drawRound(next - total);
        total = next;
        const ErrorEstimates errors = estimate();
        if (errors.effectiveSampleSize >= kReliableSampleSize && errors.errorBound <= target) return true;
        if (!going || next >= cap) return false;
    }
}

ParallelDraws::ParallelDraws(const SamplingPlan& plan, std::uint64_t start, Generator generator, int jobCount,
                             const SamplerMaker& makeSampler, ShareDrawer* elsewhere)
    : plan(plan), share(generator_stream::periodOf(generator) / static_cast<std::uint64_t>(jobCount)),
      elsewhere(elsewhere) {
    jobs.reserve(jobCount);
    for (int k = 0; k < jobCount; ++k)
        jobs.push_back(Job{JobShare{WeightSums(plan.sumCount),
                                    generator_stream::advance(start, share * static_cast<std::uint64_t>(k), generator)}});
    if (elsewhere) {
        elsewhere->start(plan, generator);
    } else {
        samplers.reserve(jobCount);
        for (int k = 0; k < jobCount; ++k)
            samplers.push_back(makeSampler ? makeSampler() : std::make_unique<BlockSampler>(plan, generator));
    }
}

void ParallelDraws::watch(const std::vector<BlockObserver*>& observers) {
    for (std::size_t k = 0; k < jobs.size(); ++k) jobs[k].observer = observers[k];
}

bool ParallelDraws::drawRound(long samples, const std::function<bool(long)>& keepGoing) {
    if (elsewhere) return drawRoundElsewhere(samples, keepGoing);
    long before = 0;
    for (const Job& job : jobs) before += job.share.sums.drawn;
    const auto draw = [this](int k, SampleQuota& quota) {
        JobShare& share = jobs[k].share;
        share.state = samplers[k]->draw(share.state, quota, share.sums, jobs[k].observer);
    };
    return shareAmongJobs(static_cast<int>(jobs.size()), samples, before, draw, keepGoing, kPollInterval);
}

bool ParallelDraws::drawRoundElsewhere(long samples, const std::function<bool(long)>& keepGoing) {
    const int count = static_cast<int>(jobs.size());
    std::vector<JobShare> shares;
    std::vector<long> quotas;
    for (int k = 0; k < count; ++k) {
        shares.push_back(jobs[k].share);
        quotas.push_back(jobQuota(samples, count, k));
    }
    shares = elsewhere->drawRound(shares, quotas);
    if (shares.size() != jobs.size()) throw std::runtime_error("a round of shares came back with shares missing");
    long drawn = 0;
    for (int k = 0; k < count; ++k) {
        if (shares[k].sums.perState.size() != plan.sumCount || shares[k].sums.perStateSquares.size() != plan.sumCount)
            throw std::runtime_error("a share came back with sums of another plan");
        jobs[k].share = std::move(shares[k]);
        drawn += jobs[k].share.sums.drawn;
    }
    return !keepGoing || keepGoing(drawn);
}

WeightSums ParallelDraws::merged() const {
    WeightSums sums = jobs.front().share.sums;
    for (std::size_t k = 1; k < jobs.size(); ++k) sums.merge(jobs[k].share.sums);
    return sums;
}

WeightSums ParallelDraws::takeMerged() {
    // Moving leaves the first job its counts, which distinctSamples reads.
    WeightSums sums = std::move(jobs.front().share.sums);
    for (std::size_t k = 1; k < jobs.size(); ++k) sums.merge(jobs[k].share.sums);
    return sums;
}

long ParallelDraws::distinctSamples() const {
    long distinct = 0;
    for (const Job& job : jobs)
        distinct += generator_stream::distinctSamples(job.share.sums.drawn, plan.drawnNodes, share);
    return distinct;
}

long ParallelDraws::backtracks() const {
    long total = 0;
    for (const auto& sampler : samplers) total += sampler->backtracks();
    return total;
}

}  // namespace samplenet
