#pragma once

#include <string>

#include "lib/model/network.h"

namespace samplenet_cli {

// What `samplenet infer` runs on when no network is given.
extern const char* const kExampleNetworkDescription;

// The example network compiled into the program, so that it runs from any
// directory.
samplenet::Network readExampleNetwork();

}  // namespace samplenet_cli
