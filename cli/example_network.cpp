#include "cli/example_network.h"

#include <string_view>

#include "lib/formats/bif.h"

namespace samplenet_cli {

// Generated at build time from the example's BIF file.
extern const char kExampleNetworkText[];
extern const std::size_t kExampleNetworkSize;

const char* const kExampleNetworkDescription = "built-in example network (alarm)";

samplenet::Network readExampleNetwork() {
    return samplenet::readBif(std::string_view(kExampleNetworkText, kExampleNetworkSize), "built-in alarm.bif");
}

}  // namespace samplenet_cli
