#include <gtest/gtest.h>

#include <functional>

#include "lib/formats/bif.h"
#include "lib/formats/net.h"
#include "lib/formats/uai.h"
#include "lib/formats/xmlbif.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/random_network.h"
#include "tests/support/tiny_network.h"

namespace property_testing {
namespace {

struct Format {
    const char* name;
    std::function<std::string(const samplenet::Network&)> write;
    std::function<samplenet::Network(const std::string&)> read;
    bool keepsNames;
};

const Format kFormats[] = {
    {"bif", samplenet::writeBif, [](const std::string& text) { return samplenet::readBif(text, "r.bif"); }, true},
    {"xmlbif", samplenet::writeXmlBif, [](const std::string& text) { return samplenet::readXmlBif(text, "r.xml"); }, true},
    {"net", samplenet::writeNet, [](const std::string& text) { return samplenet::readNet(text, "r.net"); }, true},
    {"uai", samplenet::writeUai, [](const std::string& text) { return samplenet::readUai(text, "r.uai"); }, false},
};

// Every writer and reader pair gives back the same variables, states,
// parents and bit-identical tables, on networks whose variables are not in
// topological order and whose tables have zeros and single-state columns.
TEST(RoundTripProperties, EveryFormatGivesBackEveryRandomNetwork) {
    std::mt19937 rng(5);
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE("case " + std::to_string(i));
        testing_support::RandomNetworkShape shape;
        shape.variables = std::uniform_int_distribution<int>(1, 10)(rng);
        shape.maxStates = 5;
        shape.zeroShare = 0.3;
        const samplenet::Network network = testing_support::toNetwork(testing_support::randomNetwork(rng, shape));
        for (const Format& format : kFormats) {
            SCOPED_TRACE(format.name);
            samplenet::testing_formats::expectSameNetwork(network, format.read(format.write(network)), format.keepsNames);
        }
    }
}

}  // namespace
}  // namespace property_testing
