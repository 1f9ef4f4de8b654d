#include "tests/support/tiny_network.h"

#include <string>

namespace testing_support {

samplenet::Network toNetwork(const TinyNet& net) {
    samplenet::Network network;
    network.name = "tiny";
    for (int v = 0; v < net.size(); ++v) {
        samplenet::Variable variable;
        variable.name = "V" + std::to_string(v);
        for (int s = 0; s < net.states[v]; ++s) variable.states.push_back("s" + std::to_string(s));
        variable.parents = net.parents[v];
        variable.table = net.tables[v];
        network.variables.push_back(std::move(variable));
    }
    network.reindex();
    return network;
}

samplenet::Evidence withHardEvidence(const std::vector<int>& states, samplenet::Evidence evidence) {
    for (int v = 0; v < static_cast<int>(states.size()); ++v)
        if (states[v] >= 0) evidence.hard[v] = states[v];
    return evidence;
}

}  // namespace testing_support
