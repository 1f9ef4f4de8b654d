#include "lib/plot/picture_selection.h"

#include <set>
#include <stdexcept>
#include <string>

namespace samplenet {

PictureSelection selectPictureNodes(const Network& network, const std::vector<int>& queried) {
    PictureSelection selection;
    std::set<int> detailed(queried.begin(), queried.end());
    if (detailed.empty() || static_cast<int>(detailed.size()) == network.size()) {
        if (network.size() > kMaxPictureNodes)
            throw std::invalid_argument("the network has " + std::to_string(network.size()) +
                                        " nodes, too many for a readable picture (at most " +
                                        std::to_string(kMaxPictureNodes) +
                                        "); choose the nodes to draw with -q NODE (their parents and "
                                        "children are drawn too)");
        for (int v = 0; v < network.size(); ++v) selection.detailed.push_back(v);
        return selection;
    }
    const auto children = network.children();
    std::set<int> context;
    for (int v : detailed) {
        for (int parent : network.variables[v].parents) context.insert(parent);
        for (int child : children[v]) context.insert(child);
    }
    for (int v : detailed) context.erase(v);
    selection.detailed.assign(detailed.begin(), detailed.end());
    selection.context.assign(context.begin(), context.end());
    return selection;
}

}  // namespace samplenet
