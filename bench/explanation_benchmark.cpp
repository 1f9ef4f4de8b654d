// The most probable explanation, exact and approximate, on bundled networks
// with likely evidence (a forward sample observed on 20% of the nodes, the
// cases `samplenet bench` draws). Per network: the exact explanation's time
// per case (median), and for EPIS-BN's best sample, as drawn and after the
// local search, the share of cases where it is the exact explanation (same
// probability) and otherwise the median ratio P(approximate) / P(exact),
// and the time per case (median) of the approximate explanation with its
// search, sampling included.
//
//   explanation_benchmark [--networks alarm hailfinder ...] [--cases 20]
//                         [--samples 100000] [--seed 1]
//
// Prints one Markdown row per network.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/case_settings.h"
#include "lib/benchmark/evidence_cases.h"
#include "lib/benchmark/median.h"
#include "lib/exact/junction_tree.h"
#include "lib/queries/approximate_explanation.h"
#include "lib/queries/most_probable_explanation.h"

namespace {

using namespace samplenet;
using Clock = std::chrono::steady_clock;

// How often an approximation found the exact explanation's probability, and
// how far below it fell otherwise.
struct Agreement {
    int same = 0;
    std::vector<double> ratios;

    void add(double logApproximate, double logExact) {
        if (std::abs(logApproximate - logExact) <= 1e-9 * std::max(1.0, std::abs(logExact))) {
            ++same;
        } else {
            ratios.push_back(std::exp(logApproximate - logExact));
        }
    }
    std::string text(int cases) const {
        std::string result = std::to_string(same) + " of " + std::to_string(cases);
        if (!ratios.empty()) {
            char ratio[32];
            std::snprintf(ratio, sizeof ratio, " (else %.3g)", median(ratios));
            result += ratio;
        }
        return result;
    }
};

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Exact and approximate most probable explanations on bundled networks");
    CaseSettings settings;
    addCaseOptions(app, settings);
    CLI11_PARSE(app, argc, argv);

    std::printf("| network | nodes | cases | exact: ms per case | best sample = exact | after local search = exact "
                "| approximate: s per case |\n");
    std::printf("|---|---|---|---|---|---|---|\n");
    for (const std::string& name : settings.networks) {
        const Network network = readBundledNetwork(name);
        const JunctionTree tree(network);
        CaseOptions caseOptions;
        caseOptions.likelyCases = settings.cases;
        caseOptions.unlikelyCases = 0;
        caseOptions.seed = settings.seed;
        const std::vector<EvidenceCase> drawn = generateCases(network, tree, caseOptions);

        std::vector<double> exactMilliseconds, approximateSeconds;
        Agreement sampled, searched;
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            const Evidence& evidence = drawn[i].evidence;
            const auto start = Clock::now();
            const Explanation exact = mostProbableExplanation(network, evidence);
            exactMilliseconds.push_back(1e3 * std::chrono::duration<double>(Clock::now() - start).count());

            InferenceOptions options;
            options.algorithm = Algorithm::Epis;
            options.samples = settings.samples;
            options.seed = static_cast<long>(settings.seed * 1000 + i);
            sampled.add(approximateExplanation(network, evidence, options, false).logJoint, exact.logJoint);
            const auto searchStart = Clock::now();
            const Explanation approximate = approximateExplanation(network, evidence, options, true);
            approximateSeconds.push_back(std::chrono::duration<double>(Clock::now() - searchStart).count());
            searched.add(approximate.logJoint, exact.logJoint);
        }
        const int count = static_cast<int>(drawn.size());
        std::printf("| %s | %d | %d | %.2f | %s | %s | %.2f |\n", name.c_str(), network.size(), count,
                    median(exactMilliseconds), sampled.text(count).c_str(), searched.text(count).c_str(),
                    median(approximateSeconds));
        std::fflush(stdout);
    }
}
