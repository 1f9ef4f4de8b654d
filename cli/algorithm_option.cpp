#include "cli/algorithm_option.h"

#include "lib/inference/inference.h"

namespace samplenet_cli {

std::string checkAlgorithmName(const std::string& name) {
    return samplenet::algorithmNamed(name) ? "" : "unknown algorithm \"" + name + "\"; use epis, ais, lbp or exact";
}

}  // namespace samplenet_cli
