#include <gtest/gtest.h>

#include <algorithm>

#include "engine/random_state.h"
#include "engine/samplenode.h"
#include "lib/sampling/generator_stream.h"

namespace {

using namespace samplenet;

TEST(GeneratorStream, JumpsLandWhereStepsDo) {
    for (const std::uint64_t seed : {std::uint64_t{0}, std::uint64_t{12345}, ~std::uint64_t{0}}) {
        std::uint64_t stepped = seed;
        for (std::uint64_t n = 0; n < 300; ++n) {
            EXPECT_EQ(generator_stream::advance(seed, n), stepped) << "seed " << seed << ", " << n << " steps";
            stepped = engine_random::LcgStep(stepped);
        }
    }
    // A jump splits into two jumps.
    const std::uint64_t far = 1'234'567'891;
    EXPECT_EQ(generator_stream::advance(7, far), generator_stream::advance(generator_stream::advance(7, far - 999), 999));
}

TEST(GeneratorStream, DrawsRepeatAfterThePeriodAndNotBefore) {
    // Outputs depend on the low 31 bits only: a full period later the same
    // numbers come, half a period later others.
    engine_random::SetSeed(99);
    const double first = SampleNode::RandLcg();
    const auto afterPeriod = generator_stream::advance(99, generator_stream::kPeriod);
    EXPECT_EQ(afterPeriod & 0x7fffffffu, std::uint64_t{99});
    engine_random::SetSeed(static_cast<long long>(afterPeriod));
    EXPECT_EQ(SampleNode::RandLcg(), first);
    EXPECT_NE(generator_stream::advance(99, generator_stream::kPeriod / 2) & 0x7fffffffu, std::uint64_t{99});
}

TEST(GeneratorStream, PureDrawEqualsTheEnginesGenerator) {
    engine_random::SetSeed(2024);
    std::uint64_t state = 2024;
    for (int k = 0; k < 1000; ++k) {
        state = engine_random::LcgStep(state);
        ASSERT_EQ(engine_random::LcgUniform(state), SampleNode::RandLcg()) << "draw " << k;
    }
    EXPECT_EQ(static_cast<std::uint64_t>(engine_random::Seed()), state);
}

TEST(GeneratorStream, WideDrawsStayInsideTheUnitIntervalAndSpreadEvenly) {
    using generator_stream::stepOf;
    std::uint64_t state = 0;
    int low = 0;
    double smallest = 1.0, largest = 0.0;
    for (int k = 0; k < 100000; ++k) {
        state = stepOf(Generator::Wide)(state);
        const double u = generator_stream::wideUniform(state);
        smallest = std::min(smallest, u);
        largest = std::max(largest, u);
        low += u < 0.5 ? 1 : 0;
    }
    EXPECT_GT(smallest, 0.0);
    EXPECT_LT(largest, 1.0);
    EXPECT_NEAR(low, 50000, 600);  // about 4 standard deviations
    EXPECT_EQ(generator_stream::advance(3, 1000, Generator::Wide), 3 + 1000 * generator_stream::kWideIncrement);
}

TEST(GeneratorStream, DistinctSamplesStopWhereTheShareRunsOut) {
    using generator_stream::distinctSamples;
    using generator_stream::kPeriod;
    // 1,024 unobserved nodes: the stream repeats after 2^21 samples.
    EXPECT_EQ(distinctSamples(1L << 22, 1024, kPeriod), 1L << 21);
    EXPECT_EQ(distinctSamples(1000, 1024, kPeriod), 1000);
    // Two jobs have half the stream each.
    EXPECT_EQ(distinctSamples(1L << 21, 1024, kPeriod / 2), 1L << 20);
    // 100,000 nodes: about 21,000 samples.
    EXPECT_EQ(distinctSamples(100000, 100000, kPeriod), 21474);
    EXPECT_EQ(distinctSamples(5000, 0, kPeriod), 5000);
}

}  // namespace
