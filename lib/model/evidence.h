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
    // The observed variables in the order the user gave them, so that
    // reports echo the evidence as it was written; inference never reads it.
    std::vector<int> givenOrder = {};

    bool empty() const { return hard.empty() && likelihood.empty(); }
};

// Every observed variable once: those in `givenOrder` first, in that order,
// then any added to the maps directly, by index. A variable listed in the
// order but no longer observed is left out.
std::vector<int> observedInGivenOrder(const Evidence& evidence);

}  // namespace samplenet
