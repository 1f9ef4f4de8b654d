#pragma once

#include <string>

namespace samplenet_cli {

// Refuses, before any work is done, an output path whose extension names
// no format or whose directory does not exist.
void checkOutputPath(const std::string& path);

}  // namespace samplenet_cli
