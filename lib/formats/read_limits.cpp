#include "lib/formats/read_limits.h"

#include <iostream>

namespace samplenet {

void noteOnStandardError(const std::string& message) { std::cerr << "samplenet: note: " << message << "\n"; }

}  // namespace samplenet
