#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "lib/sampling/generator_stream.h"
#include "lib/sampling/sampling_plan.h"
#include "lib/sampling/weight_sums.h"

namespace samplenet {

// Decides, sample by sample and in order, whether one more sample is drawn;
// once it says no, it is not asked again.
class SampleQuota {
public:
    virtual ~SampleQuota() = default;
    virtual bool grant() = 0;
    // Whether the run is being stopped: a sampler whose samples can take
    // long asks now and then while drawing one, and drops it.
    virtual bool stopping() const { return false; }
};

// A fixed number of samples.
class CountedQuota : public SampleQuota {
public:
    explicit CountedQuota(long samples) : left(samples) {}
    bool grant() override { return left-- > 0; }

private:
    long left;
};

// Looks at every block of samples once it is drawn.
class BlockObserver {
public:
    virtual ~BlockObserver() = default;
    // `states` holds per node (in the plan's order) a row of `rowLength`
    // states; the first `standing` samples of the block count, and those of
    // them with a positive weight are complete. A sample's weight is
    // ldexp(weights[j], exponents[j]).
    virtual void observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights,
                         const int* exponents) = 0;
};

// Shows each block to two observers, either of which may be missing.
class ObserverPair : public BlockObserver {
public:
    ObserverPair(BlockObserver* first, BlockObserver* second) : first(first), second(second) {}
    void observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights,
                 const int* exponents) override {
        first->observe(states, rowLength, standing, weights, exponents);
        second->observe(states, rowLength, standing, weights, exponents);
    }
    // What to show the blocks to: both, the one there is, or none (null).
    BlockObserver* get() { return first && second ? this : first ? first : second; }

private:
    BlockObserver* first;
    BlockObserver* second;
};

// Draws weighted samples of a plan.
class PlanSampler {
public:
    virtual ~PlanSampler() = default;
    // Draws from generator state `state` (the state before the next draw)
    // while `quota` grants samples, adding them into `sums`. Returns the
    // generator state after the last draw. An observer sees each block.
    virtual std::uint64_t draw(std::uint64_t state, SampleQuota& quota, WeightSums& sums,
                               BlockObserver* observer = nullptr) = 0;
    // Dead ends the sampler backed up from.
    virtual long backtracks() const { return 0; }
};

// With the standard generator, draws weighted samples exactly as the
// engine's sampling loop does, sample
// after sample from one generator stream, with the same draws, weights and
// sums, but a block of samples at a time and node by node, so that a node's
// tables are read once per block instead of once per sample and the walk
// over the network stays in cache.
//
// A sample that ends early (weight zero) makes fewer draws, which shifts
// where the next sample starts in the stream: the samples of a block after
// one that ends early are drawn again in the next block, from the right
// position. Blocks shrink where that happens often.
//
// Weights are carried as a double and a power-of-two exponent, so a product
// of thousands of likelihoods neither underflows nor overflows; where a
// product stays within double's range the weight is bit for bit the
// engine's.
class BlockSampler : public PlanSampler {
public:
    explicit BlockSampler(const SamplingPlan& plan, Generator stream = Generator::Standard);

    std::uint64_t draw(std::uint64_t state, SampleQuota& quota, WeightSums& sums,
                       BlockObserver* observer = nullptr) override;

private:
    // Draws the first `count` pending samples; returns how many of them stand
    // (those up to and including the first that ended early).
    int drawBlock(int count, WeightSums& sums);
    int observeNode(const SamplingPlan::Node& node, int live);
    int drawNode(std::size_t index, const SamplingPlan::Node& node, int live);
    template <Generator kind>
    int drawNodeFrom(std::size_t index, const SamplingPlan::Node& node, int live);
    void columnsOf(const SamplingPlan::Node& node, int live);
    void addBlock(int standing, WeightSums& sums);
    void addRows(const std::size_t* nodes, std::size_t count, int standing, WeightSums& sums);
    // Adds the block's weights to the joint states the samples drew.
    void addJoint(int standing, WeightSums& sums);
    // Multiplies sample j's weight by `factor`. A weight that reaches zero
    // ends the sample, and the block's live samples with it: returns false.
    // A weight leaving [2^-600, 2^600] moves 600 binary places into its
    // exponent: exact, and far enough from both ends of double's range that
    // one more factor cannot leave it.
    bool applyFactor(int j, double factor) {
        double w = weight[j] * factor;
        if (!(w > 0.0 && w <= std::numeric_limits<double>::max())) {
            endSample(j, factor);
            return false;
        }
        if (w < 0x1p-600) {
            w *= 0x1p600;
            exponent[j] -= 600;
        } else if (w > 0x1p600) {
            w *= 0x1p-600;
            exponent[j] += 600;
        }
        weight[j] = w;
        return true;
    }
    void endSample(int j, double factor);

    const SamplingPlan& plan;
    Generator kind;
    BlockObserver* observer = nullptr;
    int capacity;
    // Per node a row of `capacity` states, one per sample of the block.
    std::vector<std::uint16_t> states;
    std::vector<double> weight;
    std::vector<int> exponent;
    std::vector<std::uint64_t> generator;
    std::vector<std::uint32_t> column;
    std::vector<double> scaled;   // weights at the sums' scale
    std::vector<double> squared;  // squares relative to the largest weight
    std::vector<std::uint32_t> jointIndex;  // each sample's entry of the joint table
    // The sample of the block that ended early, and how.
    int ended = -1;
    bool endedImpossible = false;
};

}  // namespace samplenet
