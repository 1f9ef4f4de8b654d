#pragma once

#include <string>
#include <vector>

#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/plot/picture_selection.h"

namespace samplenet {

// What a picture of a network's posteriors shows.
struct PosteriorPicture {
    const Network& network;
    const Evidence& evidence;
    const InferenceResult& result;
    PictureSelection nodes;
    std::string caption;  // one line above the graph; may be empty
    // For a page that updates the picture in place: every state row's cells
    // (ids s{v}_{s}n, s{v}_{s}b, s{v}_{s}p) and every header (h{v}) become
    // links, the bar is one empty cell for the page to fill, and nothing in
    // a label depends on the evidence, so that the layout never changes;
    // each edge has the id e{parent}_{child}.
    bool linked = false;
};

// Probability as the picture prints it: three decimals, "<0.001" for a
// possible state that would otherwise read as zero.
std::string pictureProbabilityText(double probability);

// Half the width of a sampled posterior's 95% interval as the picture
// prints it, after the probability: "±0.012", "±<0.001".
std::string pictureIntervalText(double halfInterval);

// Graphviz DOT text, laid out top-down: each detailed node is a box with its
// name and one row per state (name, bar, number, and for a sampled result
// the 95% interval, shaded on the bar and printed after it); observed nodes are
// coloured and carry their state ("observed" class), likelihood evidence is
// marked ("likelihood" class); context nodes show their name only. See
// `linked` for the page's variant.
std::string posteriorDot(const PosteriorPicture& picture);

}  // namespace samplenet
