#pragma once

#include <vector>

namespace testing_support {

// A network as plain lists, for tests: per node its state count, its parents
// (indices) and its table in the engine's layout (parents in list order, own
// state fastest).
struct TinyNet {
    std::vector<int> states;
    std::vector<std::vector<int>> parents;
    std::vector<std::vector<double>> tables;

    int size() const { return static_cast<int>(states.size()); }
    int add(int numStates, std::vector<int> nodeParents, std::vector<double> table) {
        states.push_back(numStates);
        parents.push_back(std::move(nodeParents));
        tables.push_back(std::move(table));
        return size() - 1;
    }
};

}  // namespace testing_support
