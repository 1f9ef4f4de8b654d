// Joint posteriors of a node and two of its unobserved parents on bundled
// networks, exact and added up by EPIS-BN's samples, with likely and
// unlikely evidence (the cases `samplenet bench` draws). Per network and
// kind of evidence: the median time per case of each, the sampled table's
// largest error against the exact one (median and worst over cases), and
// the share of possible entries (and of those of at least 0.01) whose 95%
// interval (1.96 standard errors) holds the exact value.
//
//   joint_posterior_benchmark [--networks alarm hailfinder ...] [--cases 20]
//                             [--samples 100000] [--seed 1]
//
// Prints one Markdown row per network and kind of evidence.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/case_settings.h"
#include "lib/benchmark/evidence_cases.h"
#include "lib/benchmark/median.h"
#include "lib/exact/junction_tree.h"
#include "lib/queries/joint_posterior.h"

namespace {

using namespace samplenet;
using Clock = std::chrono::steady_clock;

// Entries below this are often never drawn, which leaves them a standard
// error of 0; coverage is also given for those above it.
constexpr double kLikelyEntry = 0.01;

double millisecondsSince(Clock::time_point start) {
    return 1e3 * std::chrono::duration<double>(Clock::now() - start).count();
}

// An unobserved node with the most unobserved parents, up to two of them;
// ties go to a random one.
std::vector<int> familyToAsk(const Network& network, const Evidence& evidence, std::mt19937& rng) {
    std::vector<std::vector<int>> best;
    for (int v = 0; v < network.size(); ++v) {
        if (evidence.hard.count(v)) continue;
        std::vector<int> family = {v};
        for (int parent : network.variables[v].parents)
            if (!evidence.hard.count(parent) && family.size() < 3) family.push_back(parent);
        if (!best.empty() && family.size() < best.front().size()) continue;
        if (!best.empty() && family.size() > best.front().size()) best.clear();
        best.push_back(family);
    }
    return best[rng() % best.size()];
}

struct Coverage {
    long entries = 0, covered = 0;
    void add(bool inside) {
        ++entries;
        covered += inside;
    }
    double percent() const { return 100.0 * static_cast<double>(covered) / static_cast<double>(entries); }
};

struct Row {
    std::vector<double> exactMilliseconds, sampledMilliseconds, largestErrors;
    Coverage possible, likely;
};

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Exact and sampled joint posteriors on bundled networks");
    CaseSettings settings;
    addCaseOptions(app, settings);
    CLI11_PARSE(app, argc, argv);

    std::printf("| network | evidence | cases | exact: ms per case | epis: ms per case | largest error: median | "
                "largest error: worst | possible entries within their 95%% interval | entries of 0.01 and up within it |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|\n");
    for (const std::string& name : settings.networks) {
        const Network network = readBundledNetwork(name);
        const JunctionTree tree(network);
        CaseOptions caseOptions;
        caseOptions.likelyCases = settings.cases;
        caseOptions.unlikelyCases = settings.cases;
        caseOptions.seed = settings.seed;
        std::mt19937 rng(static_cast<unsigned>(settings.seed));
        Row rows[2];
        const std::vector<EvidenceCase> drawn = generateCases(network, tree, caseOptions);
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            const Evidence& evidence = drawn[i].evidence;
            const std::vector<int> variables = familyToAsk(network, evidence, rng);
            Row& row = rows[drawn[i].kind == CaseKind::Likely ? 0 : 1];

            auto start = Clock::now();
            const JointPosterior exact = exactJointPosterior(network, evidence, variables);
            row.exactMilliseconds.push_back(millisecondsSince(start));

            InferenceOptions options;
            options.algorithm = Algorithm::Epis;
            options.samples = settings.samples;
            options.seed = static_cast<long>(settings.seed * 1000 + i);
            options.joint = variables;
            options.queried = variables;
            start = Clock::now();
            const JointPosterior sampled = *infer(network, evidence, options).joint;
            row.sampledMilliseconds.push_back(millisecondsSince(start));

            double largest = 0.0;
            for (std::size_t k = 0; k < exact.probabilities.size(); ++k) {
                const double error = std::abs(sampled.probabilities[k] - exact.probabilities[k]);
                largest = std::max(largest, error);
                // Impossible entries are never drawn: their intervals say nothing.
                if (exact.probabilities[k] == 0.0) continue;
                const bool inside = error <= 1.96 * sampled.standardErrors[k];
                row.possible.add(inside);
                if (exact.probabilities[k] >= kLikelyEntry) row.likely.add(inside);
            }
            row.largestErrors.push_back(largest);
        }
        for (int kind = 0; kind < 2; ++kind) {
            const Row& row = rows[kind];
            if (row.largestErrors.empty()) continue;
            std::printf("| %s | %s | %zu | %.2f | %.1f | %.4f | %.4f | %.1f%% | %.1f%% |\n", name.c_str(),
                        kind == 0 ? "likely" : "unlikely", row.largestErrors.size(), median(row.exactMilliseconds),
                        median(row.sampledMilliseconds), median(row.largestErrors),
                        *std::max_element(row.largestErrors.begin(), row.largestErrors.end()),
                        row.possible.percent(), row.likely.percent());
            std::fflush(stdout);
        }
    }
}
