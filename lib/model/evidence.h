#pragma once

#include <map>
#include <vector>

namespace samplenet {

// Observations on a network, by variable index. Hard evidence fixes a state;
// likelihood (virtual) evidence weighs the states of a variable by
// non-negative factors, one per state, not all zero.
struct Evidence {
    std::map<int, int> hard;
    std::map<int, std::vector<double>> likelihood;

    bool empty() const { return hard.empty() && likelihood.empty(); }
};

}  // namespace samplenet
