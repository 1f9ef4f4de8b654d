#pragma once

#include <string>
#include <utility>

#include "lib/formats/formats.h"

namespace testing_support {

// An instance of the bundled UAI 2014 set: its network, published evidence
// and the path of its .uai file (the reference marginals are beside it).
struct UaiCase {
    samplenet::Network network;
    samplenet::Evidence evidence;
    std::string path;
};

inline UaiCase uaiCase(const std::string& name) {
    const std::string path = SAMPLENET_TEST_DATA "/uai2014/" + name + ".uai";
    samplenet::Network network = samplenet::readNetwork(path);
    samplenet::Evidence evidence = samplenet::readUaiEvidence(network, path + ".evid");
    return {std::move(network), std::move(evidence), path};
}

}  // namespace testing_support
