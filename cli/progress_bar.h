#pragma once

#include "lib/inference/run_clock.h"

namespace samplenet {

// A progress bar drawn on stderr when stderr is a terminal; an empty
// callback otherwise, so that logs and pipes stay clean.
ProgressCallback terminalProgressBar();

}  // namespace samplenet
