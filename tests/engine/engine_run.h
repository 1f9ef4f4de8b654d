#pragma once

#include "engine/samplenet.h"
#include "host/qvr_clock.h"
#include "tests/support/test_host.h"
#include "tests/support/test_networks.h"

namespace testing_support {

enum class Driver { Ais, Lbp, Epis };

// One complete run on a fresh network, with the clock fixed so the samplers'
// seed is `seed`. Returns the driver's result code.
inline int runDriver(TestHost& host, Driver driver, long seed = 1234) {
    qvr_clock::FixReadings(seed, 0);
    SampleNet net(host);
    net.SetParameterForImportanceSampling();
    int result = 0;
    switch (driver) {
        case Driver::Ais: result = net.BN_AIS_Sampling(); break;
        case Driver::Lbp: result = net.LBP(); break;
        case Driver::Epis: result = net.BN_EPIS_Sampling(); break;
    }
    net.ClearImportanceParameter();
    qvr_clock::UseRealClock();
    return result;
}

// Evidence on one of the shared networks, with a name for failure messages.
struct EvidenceCase {
    const char* name;
    TinyNet net;
    std::vector<int> evidence;
};

// Runs `driver` with `samples` samples on every case and checks that no
// belief is further than `tolerance` from the enumerated posterior.
void expectNearEnumeration(const std::vector<EvidenceCase>& cases, Driver driver, int samples, double tolerance);

// A seed from which the next RandLcg draw takes the 15-bit value `x`.
long long seedForNextDraw(int x);

// Largest Hellinger distance between the host's beliefs and the answer.
double worstHellinger(const TestHost& host, const std::vector<std::vector<double>>& exact);

}  // namespace testing_support
