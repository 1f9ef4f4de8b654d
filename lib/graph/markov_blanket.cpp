#include "lib/graph/markov_blanket.h"

#include <algorithm>

namespace samplenet {

std::vector<int> markovBlanket(const Network& network, int v) {
    std::vector<int> blanket = network.variables[v].parents;
    for (int child = 0; child < network.size(); ++child) {
        const std::vector<int>& parents = network.variables[child].parents;
        if (std::find(parents.begin(), parents.end(), v) == parents.end()) continue;
        blanket.push_back(child);
        blanket.insert(blanket.end(), parents.begin(), parents.end());
    }
    std::sort(blanket.begin(), blanket.end());
    blanket.erase(std::unique(blanket.begin(), blanket.end()), blanket.end());
    std::erase(blanket, v);
    return blanket;
}

}  // namespace samplenet
