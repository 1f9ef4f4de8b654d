#pragma once

#include <vector>

#include "lib/model/network.h"

namespace samplenet {

// Above this many nodes a whole-network picture is too crowded to read.
constexpr int kMaxPictureNodes = 60;

// The nodes a picture draws: `detailed` with their posteriors, `context`
// (parents and children of the detailed ones) by name only. Both ascending.
struct PictureSelection {
    std::vector<int> detailed;
    std::vector<int> context;
};

// Every node when `queried` is empty or holds every node, which is refused
// for networks above kMaxPictureNodes (std::invalid_argument, suggesting
// -q); otherwise the queried nodes and their neighbours.
PictureSelection selectPictureNodes(const Network& network, const std::vector<int>& queried);

}  // namespace samplenet
