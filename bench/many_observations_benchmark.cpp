// EPIS-BN and AIS-BN with many observed nodes, where a sample's weight, a
// product over thousands of likelihoods, leaves double's range. Evidence is
// a forward sample of the network on a share of its nodes, so it is always
// possible. Three groups of settings:
//
//   - seeded random networks of the given sizes, 1%, 5% and 10% observed,
//     shaped for a small treewidth (by default trees: one parent among the
//     4 nodes before) so that exact inference gives the answer;
//   - the bundled link network (deterministic tables), 5% and 10% observed;
//   - random 1,000-node networks, 10% observed, with more samples: the
//     accuracy to expect where nothing is large.
//
// Prints one Markdown row per network, share observed and algorithm: the
// share of runs that gave posteriors, seconds per run, per run the samples
// kept with a weight outside double's range, lost to underflow or overflow,
// and ended by a zero table entry, and the mean Hellinger distance to the
// exact posteriors over unobserved nodes (mean over the runs that succeeded).
// Below the table, the largest clique exact inference needed.
//
//   many_observations_benchmark [--sizes 10000 100000] [--seeds 3] [--samples N]
//                               [--max-parents 2] [--link-samples 0] [--small-samples 0]
//
// The default run (10,000 nodes, 2 seeds, link, 1,000 nodes) takes a minute
// or two; AIS-BN's learning stage dominates at 100,000 nodes.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "lib/benchmark/accuracy_benchmark.h"
#include "lib/benchmark/evidence_cases.h"
#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "lib/util/byte_size.h"

namespace {

using namespace samplenet;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Runs of one algorithm on one kind of network and share observed.
struct Row {
    Algorithm algorithm;
    double fraction;
    int samples;
    int runs = 0;
    int succeeded = 0;
    int measured = 0;  // succeeded and compared with exact posteriors
    double seconds = 0.0;
    double outsideDouble = 0.0;
    double lostToRange = 0.0;
    double impossible = 0.0;
    double hellinger = 0.0;
    double leastLog10Evidence = std::numeric_limits<double>::infinity();
    double mostLog10Evidence = -std::numeric_limits<double>::infinity();
};

struct Setting {
    std::string name;
    std::vector<double> fractions;
    std::vector<Algorithm> algorithms;
    int samples;
};

class Measurement {
public:
    explicit Measurement(const Setting& setting) : setting(setting) {
        for (const double fraction : setting.fractions)
            for (const Algorithm algorithm : setting.algorithms) rows.push_back({algorithm, fraction, setting.samples});
    }

    // One network: for each share observed, evidence from `seed`, exact
    // posteriors where the junction tree fits, and a run of each algorithm.
    void run(const Network& network, unsigned long seed) {
        nodes = network.size();
        const CliqueStatistics cliques = estimateCliques(network);
        largestClique = std::max(largestClique, cliques.largestCliqueEntries);
        exactBytes = std::max(exactBytes, cliques.estimatedBytes);
        std::optional<JunctionTree> exact;
        if (!cliques.exceedsLimit) exact.emplace(network);
        for (Row& row : rows) {
            const Evidence evidence = forwardSampledEvidence(network, row.fraction, seed);
            std::optional<ExactResult> answer;
            if (exact) {
                answer = exact->infer(evidence);
                const double log10P = answer->logProbabilityOfEvidence / std::log(10.0);
                row.leastLog10Evidence = std::min(row.leastLog10Evidence, log10P);
                row.mostLog10Evidence = std::max(row.mostLog10Evidence, log10P);
            }
            InferenceOptions options;
            options.algorithm = row.algorithm;
            options.samples = row.samples;
            options.seed = static_cast<long>(seed);
            ++row.runs;
            try {
                const InferenceResult result = infer(network, evidence, options);
                ++row.succeeded;
                row.seconds += result.seconds;
                count(row, *result.sampling);
                if (answer) {
                    row.hellinger += posteriorDistance(result.posteriors, answer->posteriors, evidence).mean;
                    ++row.measured;
                }
            } catch (const InferenceError& error) {
                row.seconds += error.partial.seconds;
                if (error.partial.sampling) count(row, *error.partial.sampling);
            }
        }
    }

    void print() const {
        for (const Row& row : rows) {
            const int observedNodes = static_cast<int>(std::lround(row.fraction * nodes));
            std::string evidence = "-";
            if (row.leastLog10Evidence <= row.mostLog10Evidence)
                evidence = row.leastLog10Evidence == row.mostLog10Evidence
                               ? format("%.0f", row.leastLog10Evidence)
                               : format("%.0f to %.0f", row.leastLog10Evidence, row.mostLog10Evidence);
            std::printf("| %s | %d | %.0f%% (%d) | %s | %s | %d | %d/%d | %.2f | %.0f | %.0f | %.0f | %s |\n",
                        setting.name.c_str(), nodes, row.fraction * 100.0, std::max(1, observedNodes),
                        evidence.c_str(), std::string(algorithmName(row.algorithm)).c_str(), row.samples,
                        row.succeeded, row.runs, row.seconds / row.runs, row.outsideDouble / row.runs,
                        row.lostToRange / row.runs, row.impossible / row.runs,
                        row.measured > 0 ? format("%.4f", row.hellinger / row.measured).c_str() : "-");
        }
        std::fflush(stdout);
    }

    // For the notes below the table: what exact inference needed.
    std::string cliqueNote() const {
        return format("%s, %d nodes: largest clique %zu entries, ", setting.name.c_str(), nodes, largestClique) +
               describeBytes(exactBytes) + " of clique tables";
    }

private:
    static void count(Row& row, const SamplingReport& report) {
        row.outsideDouble += static_cast<double>(report.outsideDouble);
        row.lostToRange += static_cast<double>(report.lostToRange);
        row.impossible += static_cast<double>(report.impossible);
    }

    template <typename... Args>
    static std::string format(const char* pattern, Args... args) {
        char text[128];
        std::snprintf(text, sizeof text, pattern, args...);
        return text;
    }

    const Setting& setting;
    std::vector<Row> rows;
    int nodes = 0;
    std::size_t largestClique = 0;
    std::size_t exactBytes = 0;
};

Network smallTreewidthNetwork(int nodes, int maxParents, int locality, unsigned long seed) {
    RandomNetworkOptions options;
    options.nodes = nodes;
    options.maxParents = maxParents;
    options.locality = locality;
    options.seed = seed;
    ReadLimits limits;
    limits.maxTotalEntries = std::size_t{1} << 31;
    return randomNetwork(options, limits);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"EPIS-BN and AIS-BN with many observed nodes"};
    std::vector<int> sizes{10000};
    std::vector<double> fractions{0.01, 0.05, 0.10};
    int seeds = 2;
    int samples = 2000;
    int maxParents = 1;
    int locality = 4;
    int linkSamples = 20000;
    int smallSamples = 100000;
    int smallSeeds = 3;
    app.add_option("--sizes", sizes, "Nodes of the random networks (0 for none)");
    app.add_option("--fractions", fractions, "Shares of the nodes observed in the random networks");
    app.add_option("--seeds", seeds, "Networks (and evidence, and sampling seeds) per size");
    app.add_option("--samples", samples, "Samples per run on the random networks");
    app.add_option("--max-parents", maxParents, "Parents per node, at most, in the random networks");
    app.add_option("--locality", locality, "How far back a node's parents may be");
    app.add_option("--link-samples", linkSamples, "Samples per run on link (0 skips link)");
    app.add_option("--small-samples", smallSamples, "EPIS-BN samples on the 1,000-node networks (0 skips them)");
    app.add_option("--small-seeds", smallSeeds, "1,000-node networks");
    CLI11_PARSE(app, argc, argv);

    std::printf("Random networks: 1 to %d parents among the %d nodes before; seeds 1 to %d (1,000 nodes: 1 to %d).\n\n",
                maxParents, locality, seeds, smallSeeds);
    std::printf("| network | nodes | observed | log10 P(e) | algorithm | samples | succeeded | s per run "
                "| outside double | lost to range | impossible | mean H |\n"
                "|---|---:|---:|---:|---|---:|---:|---:|---:|---:|---:|---:|\n");
    const auto start = Clock::now();
    std::vector<std::string> notes;
    const std::vector<Algorithm> both{Algorithm::Epis, Algorithm::Ais};
    for (const int size : sizes) {
        if (size <= 0) continue;
        const Setting setting{"random", fractions, both, samples};
        Measurement measurement(setting);
        for (int seed = 1; seed <= seeds; ++seed)
            measurement.run(smallTreewidthNetwork(size, maxParents, locality, seed), seed);
        measurement.print();
        notes.push_back(measurement.cliqueNote());
    }
    if (linkSamples > 0) {
        const Setting setting{"link", {0.05, 0.10}, both, linkSamples};
        Measurement measurement(setting);
        const Network link = readNetwork(std::string(SAMPLENET_DATA) + "/networks/link.bif.gz");
        for (int seed = 1; seed <= seeds; ++seed) measurement.run(link, seed);
        measurement.print();
        notes.push_back(measurement.cliqueNote());
    }
    if (smallSamples > 0) {
        const Setting setting{"random", {0.10}, {Algorithm::Epis}, smallSamples};
        Measurement measurement(setting);
        for (int seed = 1; seed <= smallSeeds; ++seed)
            measurement.run(smallTreewidthNetwork(1000, maxParents, locality, seed), seed);
        measurement.print();
        notes.push_back(measurement.cliqueNote());
    }
    std::printf("\n");
    for (const std::string& note : notes) std::printf("- %s\n", note.c_str());
    std::printf("\nTotal %.0f s.\n", secondsSince(start));
}
