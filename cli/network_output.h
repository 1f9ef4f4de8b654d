#pragma once

#include <string>

#include "lib/model/network.h"

namespace samplenet_cli {

// Refuses, before any work is done, an output path whose extension names
// no format or whose directory does not exist.
void checkOutputPath(const std::string& path);

// Writes in the format of the path's extension, completely or not at all.
void writeNetworkFile(const samplenet::Network& network, const std::string& path);

}  // namespace samplenet_cli
