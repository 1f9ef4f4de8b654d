#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "lib/inference/cancellation.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// Draws complete rows of a network's variables one at a time, parents
// before children, so that memory does not depend on how many are drawn.
//
// Without evidence every row is a draw from the network's joint
// distribution, of weight 1. With evidence the rows are likelihood
// weighted: an observed variable takes its observed state and the row's
// weight is multiplied by that state's probability given the row's
// parents; a variable with likelihood evidence is drawn from its table and
// the weight multiplied by its drawn state's factor. Weighted by these
// weights the rows estimate the posterior, and their mean weight P(e).
//
// The same seed gives the same rows on every platform: a 64-bit Mersenne
// Twister, with uniform numbers taken from its top 53 bits.
class ForwardSampler {
public:
    // Throws EvidenceError for evidence that does not fit the network.
    ForwardSampler(const Network& network, const Evidence& evidence, std::uint64_t seed);

    // Fills `states` with one state per variable and returns the row's weight.
    double next(std::vector<int>& states);

private:
    int draw(const double* column, int stateCount);

    const Network& network;
    Evidence evidence;
    std::vector<int> order;
    std::vector<int> observed;  // state, or -1
    std::mt19937_64 generator;
};

// The name of the rows' weight column: "weight", or with underscores
// added while a variable has that name.
std::string weightColumnName(const Network& network);

// Draws `count` rows and hands each to `row` as it is drawn (states per
// variable, weight), polling `cancellation` between rows: RunCancelled
// once it says stop.
void drawSamples(const Network& network, const Evidence& evidence, std::size_t count, std::uint64_t seed,
                 const Cancellation& cancellation,
                 const std::function<void(const std::vector<int>& states, double weight)>& row);

}  // namespace samplenet
