#pragma once

#include <string>

#include "lib/exact/junction_tree.h"

namespace samplenet {

// Seconds that building and propagating a junction tree of these cliques
// takes on one core, from its table entries: each entry is written when the
// tables are filled and read and written again by the messages in and out.
double predictedExactSeconds(const CliqueStatistics& cliques);

// "about 0.44 s", or "under 0.01 s": a prediction as messages show it.
std::string describePredictedSeconds(double seconds);

}  // namespace samplenet
