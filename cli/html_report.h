#pragma once

#include <string>

#include "cli/posterior_output.h"

namespace samplenet_cli {

// One self-contained HTML page: the run, the picture of the network with its
// posteriors (left out, with the reason, when the shown nodes are too many to
// draw), and a table of every shown node's posterior that sorts by any column.
std::string htmlReport(const PosteriorReport& report);

}  // namespace samplenet_cli
