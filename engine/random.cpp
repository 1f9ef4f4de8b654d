#include <climits>
#include <cstdint>
#include <cstring>

#include "engine/random_state.h"
#include "engine/samplenode.h"
#include "host/qvr_clock.h"

namespace {

long long seednumber = 0;

constexpr long long kParkMillerModulus = 2147483647;

// Park and Miller's minimal standard step by Schrage's method, which never
// overflows: 16807 * s mod (2^31 - 1) for 1 <= s < 2^31 - 1.
long long ParkMillerStep(long long s) {
    const long long k = s / 127773;
    long long next = 16807 * (s - k * 127773) - 2836 * k;
    if (next < 0) next += kParkMillerModulus;
    return next;
}

}  // namespace

namespace engine_random {

long long Seed() { return seednumber; }
void SetSeed(long long value) { seednumber = value; }

void SeedFromHostClock() {
    const long time = QVR_time(nullptr);
    const long clock = QVR_clock();
    seednumber = (clock ^ time) & 0x7fff;
}

}  // namespace engine_random

double SampleNode::RandLcg() {
    // 64-bit wrap-around arithmetic, done unsigned to keep it defined.
    const std::uint64_t next = engine_random::LcgStep(static_cast<std::uint64_t>(seednumber));
    seednumber = static_cast<long long>(next);
    return engine_random::LcgUniform(next);
}

double SampleNode::Rand01() {
    constexpr int kTableSize = 32;
    static long long iy = 0;
    static long long iv[kTableSize];

    // A sampler can leave a seed beyond the step's range; fold it back so the
    // shuffle index below stays within the table.
    if (seednumber >= kParkMillerModulus) {
        seednumber %= kParkMillerModulus;
        if (seednumber == 0) seednumber = 1;
    }
    if (seednumber <= 0 || iy == 0) {
        seednumber = seednumber == LLONG_MIN ? 1 : -seednumber;
        if (seednumber < 1) seednumber = 1;
        for (int j = kTableSize + 7; j >= 0; --j) {
            seednumber = ParkMillerStep(seednumber);
            if (j < kTableSize) iv[j] = seednumber;
        }
        iy = iv[0];
    }
    seednumber = ParkMillerStep(seednumber);
    const int j = static_cast<int>(iy >> 26);
    iy = iv[j];
    iv[j] = seednumber;
    const double value = static_cast<double>(iy) * 4.656612875245797e-10;
    return value < 0.99999988 ? value : 0.99999988;
}

void SampleNode::psdes(unsigned long* lword, unsigned long* irword) {
    static_assert(sizeof(unsigned long) == 8, "the hash works on 64-bit words");
    constexpr unsigned long c1[4] = {0xbaa96887UL, 0x1e17d32cUL, 0x03bcdc3cUL, 0x0f33d1b2UL};
    constexpr unsigned long c2[4] = {0x4b0f3b58UL, 0xe874f0c3UL, 0x6955c5a6UL, 0x55a7ca46UL};
    for (int i = 0; i < 4; ++i) {
        const unsigned long iswap = *irword;
        unsigned long a = iswap ^ c1[i];
        const unsigned long low = a & 0xffff;
        const unsigned long high = a >> 16;
        const unsigned long b = low * low + ~(high * high);
        a = (b >> 16) | ((b & 0xffff) << 16);
        *irword = *lword ^ ((a ^ c2[i]) + low * high);
        *lword = iswap;
    }
}

float SampleNode::RandBest() {
    static unsigned long idums = 0;
    if (seednumber < 0) {
        idums = 0UL - static_cast<unsigned long>(seednumber);
        seednumber = 1;
    }
    unsigned long irword = static_cast<unsigned long>(seednumber);
    unsigned long lword = idums;
    psdes(&lword, &irword);
    const std::uint32_t bits = 0x3f800000u | static_cast<std::uint32_t>(irword & 0x007fffff);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    ++seednumber;
    return value - 1.0f;
}
