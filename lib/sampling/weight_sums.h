#pragma once

#include <cstddef>
#include <vector>

namespace samplenet {

// What the samples of a run add up: per node and state the weights of the
// samples that drew it and the squares of those weights, and the counts a
// user needs to judge the run. The squares give the run's error estimates.
//
// Sums are kept at a common power-of-two scale: the true sum is
// ldexp(sum, scale). While every weight lies within the range of double the
// scale stays 0 and the sums are plain sums, added in sample order; a run
// whose weights all fall below (or above) that range, as happens with
// hundreds of observed nodes, moves the scale instead of losing them.
struct WeightSums {
    explicit WeightSums(std::size_t entries) : perState(entries, 0.0), perStateSquares(entries, 0.0) {}

    // Brings the sums to another scale (exactly, but for sums that fall out
    // of range there, which are negligible beside the weights that moved it).
    void rescale(int newScale);
    // Notes the largest binary exponent of a weight so far; the squares are
    // kept relative to the square of that weight, so they never overflow.
    void raiseLargestExponent(int exponent);
    // Makes room for weights whose largest binary exponent is `exponent`:
    // raises the largest exponent, and moves the scale to it once it lies
    // more than 1,000 binary places from 1 (back to 0 while it stays within).
    void admit(int exponent);
    // Counts a sample of positive weight ldexp(weight, exponent) into the
    // totals; returns its weight at the sums' scale and its square relative
    // to the largest weight, for the caller to add to its states' sums.
    struct Counted {
        double scaled;
        double squared;
    };
    Counted count(double weight, int exponent);
    // Adds another run's sums (of the same plan) at the larger of the two
    // scales.
    void merge(const WeightSums& other);

    std::vector<double> perState;
    double total = 0.0;  // of all weights, at `scale`
    int scale = 0;
    // Squared weights: the true sums are ldexp(sum, 2 * largestExponent).
    std::vector<double> perStateSquares;
    double totalSquares = 0.0;
    // Largest binary exponent of a weight so far.
    int largestExponent = kNoWeight;
    static constexpr int kNoWeight = -100000;
    long drawn = 0;
    long positive = 0;      // samples of positive weight
    long impossible = 0;    // samples ended by a zero table entry
    long lostToRange = 0;   // samples whose weight left double's range on the way
    long outsideDouble = 0; // kept samples whose weight is outside double's normal range
};

}  // namespace samplenet
