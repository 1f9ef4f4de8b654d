#include <gtest/gtest.h>

#include "tests/engine/engine_run.h"

namespace {

using namespace testing_support;

// Beliefs of each driver for one network, evidence and seed, recorded bit
// for bit. Speed work on the engine must leave every bit of them unchanged.
const std::vector<std::vector<std::vector<double>>> kRecorded = {
    // AIS-BN
    {{0x1.db47b4ec5acb5p-3, 0x1.d9fb7143636c7p-2, 0x1.3860b4466f2dep-2},
     {0x1.2e4b6e0a41737p-1, 0x1.a36923eb7d192p-2},
     {0x0p+0, 0x1p+0},
     {0x1.ca5b86ebec174p-6, 0x1.1b88f6300347ep-3, 0x1.aacae63c9fcd5p-1},
     {0x1.349dea27faf3p-4, 0x1.d96c42bb00a1ap-1},
     {0x1.a14cc5c2befb4p-4, 0x1.cbd66747a8209p-1},
     {0x0p+0, 0x0p+0, 0x1p+0}},
    // LBP
    {{0x1.a7b9611a7b962p-3, 0x1.08d3dcb08d3ddp-1, 0x1.1a7b9611a7b97p-2},
     {0x1.6666666666666p-1, 0x1.3333333333334p-2},
     {0x0p+0, 0x1p+0},
     {0x1.2bee80d4a8e6dp-4, 0x1.6cbca55577c18p-3, 0x1.7f5306900cf2cp-1},
     {0x1.e3cff8c799c8dp-3, 0x1.870c01ce198ddp-1},
     {0x1.1a73a4b4fd6c8p-2, 0x1.72c62da58149cp-1},
     {0x0p+0, 0x0p+0, 0x1p+0}},
    // EPIS-BN
    {{0x1.4655df62ef3f2p-3, 0x1.e77f335c7331ap-2, 0x1.7555dcf2152edp-2},
     {0x1.59c0bc295774ep-1, 0x1.4c7e87ad51166p-2},
     {0x0p+0, 0x1p+0},
     {0x1.de167c3f885f5p-5, 0x1.91b7fa020734fp-3, 0x1.7db099bb85acdp-1},
     {0x1.aa4e1d2e635f3p-4, 0x1.cab63c5a33942p-1},
     {0x1.2ad6407f675c6p-3, 0x1.b54a6fe02628fp-1},
     {0x0p+0, 0x0p+0, 0x1p+0}},
};

TEST(RecordedBeliefs, EveryDriverReproducesThemBitForBit) {
    const std::vector<int> evidence = {-1, -1, 1, -1, -1, -1, 2};
    for (Driver driver : {Driver::Ais, Driver::Lbp, Driver::Epis}) {
        TestHost host(threeLayerLoopy(), evidence);
        host.sampleCount = 700;
        host.params.propagationLength = 3;
        ASSERT_EQ(runDriver(host, driver, 2024), 0);
        const auto& recorded = kRecorded[static_cast<int>(driver)];
        for (int v = 0; v < 7; ++v)
            EXPECT_EQ(host.beliefs(v), recorded[v]) << "driver " << static_cast<int>(driver) << " node " << v;
    }
}

}  // namespace
