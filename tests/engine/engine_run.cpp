#include "tests/engine/engine_run.h"

#include "lib/benchmark/accuracy_benchmark.h"
#include "tests/support/brute_force.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace testing_support {

long long seedForNextDraw(int x) {
    // Invert s * 214013 + 2531011 modulo 2^32 (214013 is odd, so it has an
    // inverse; Newton's iteration doubles the correct bits each step).
    unsigned inverse = 214013u;
    for (int i = 0; i < 5; ++i) inverse *= 2u - 214013u * inverse;
    const unsigned target = static_cast<unsigned>(x) << 16;
    return static_cast<long long>((target - 2531011u) * inverse);
}

void expectNearEnumeration(const std::vector<EvidenceCase>& cases, Driver driver, int samples, double tolerance) {
    for (const EvidenceCase& c : cases) {
        const ExactAnswer exact = enumerate(c.net, c.evidence);
        TestHost host(c.net, c.evidence);
        host.sampleCount = samples;
        ASSERT_EQ(runDriver(host, driver), 0) << c.name;
        EXPECT_LT(largestDifference(host.allBeliefs(), exact.posteriors), tolerance) << c.name;
    }
}

double worstHellinger(const TestHost& host, const std::vector<std::vector<double>>& exact) {
    double worst = 0.0;
    for (std::size_t v = 0; v < exact.size(); ++v)
        worst = std::max(worst, samplenet::hellingerDistance(host.beliefs(v), exact[v]));
    return worst;
}

}  // namespace testing_support
