#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "lib/exact/clique_potentials.h"
#include "lib/exact/clique_tree.h"
#include "lib/exact/evidence_weights.h"
#include "lib/exact/factor_model.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

struct ExactOptions {
    // The tree refuses to build when its tables would need more than this.
    std::size_t memoryLimitBytes = std::size_t{4} << 30;
    // Called between steps of the work (eliminations, clique operations);
    // it may throw to stop the work, which leaves nothing behind.
    std::function<void()> checkpoint = {};
};

struct ExactResult {
    std::vector<std::vector<double>> posteriors;  // per variable, per state
    double probabilityOfEvidence;                 // 0 when it underflows a double
    double logProbabilityOfEvidence;              // natural log, exact even then
};

struct CliqueStatistics {
    int cliqueCount;
    int largestCliqueVariables;
    std::size_t largestCliqueEntries;
    std::size_t totalEntries;  // over all cliques
    // Clique tables twice (the initial ones and each inference's working
    // copy), separator messages and the buffer of the largest separator;
    // saturates rather than overflows. The tree's structure (index lists,
    // names) comes on top, a few hundred bytes to 2 KiB per variable.
    std::size_t estimatedBytes;
    std::size_t limitBytes;  // the memory limit it was measured against
    // Triangulation stopped once the cliques found so far were certain to
    // need more than the limit: the figures above cover only those cliques,
    // and the estimate is a lower bound. (A complete estimate can still come
    // out above the limit by its separators.)
    bool exceedsLimit;
    int variablesEliminated;  // before the stop; all of them otherwise
    std::string order;        // how the elimination order was chosen

    bool operator==(const CliqueStatistics&) const = default;
};

// The network's junction tree would need more memory than allowed.
class ExactMemoryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Guards the table indexing against a network that was never validated:
// throws ModelError for parents or tables that do not fit.
void checkIndexable(const Network& network);


// Triangulates the network and measures its cliques without allocating them,
// up to the memory limit of the options.
CliqueStatistics estimateCliques(const Network& network, const ExactOptions& options = {});
// The same for the tree over a product of tables.
CliqueStatistics estimateCliques(const FactorModel& model, const ExactOptions& options);

// Exact posteriors by message passing over a junction tree. The structure and
// the initial clique tables are built once; each inference works on a copy.
class JunctionTree {
public:
    explicit JunctionTree(const Network& network, const ExactOptions& options = {});
    // Over a product of tables; their values are copied in.
    JunctionTree(const FactorModel& model, const ExactOptions& options);

    const CliqueStatistics& statistics() const { return stats; }
    // Posteriors of every variable and the probability of the evidence, with
    // hard and likelihood evidence. Throws EvidenceError for malformed or
    // impossible evidence.
    ExactResult infer(const Evidence& evidence) const;
    // Posteriors of the variables `wanted` marks (of all when it is empty;
    // the others are left empty) given evidence weights, which must fit the
    // variables. Messages go out from the root only towards the wanted.
    ExactResult infer(EvidenceWeights weights, const std::vector<char>& wanted) const;
    // The same for a tree used once: it works on its own tables.
    ExactResult inferOnce(EvidenceWeights weights, const std::vector<char>& wanted) &&;

private:
    // A clique's connection to its parent through their separator.
    struct Link {
        int clique;
        int parent;
        std::size_t separatorOffset;
        std::size_t separatorSize;
        Projection fromClique;
        Projection fromParent;
    };
    // The smallest clique holding a variable: where its evidence goes and
    // its posterior is read.
    struct Home {
        int clique;
        int position;
    };

    void build(const FactorModel& model, const ExactOptions& options);
    // Multiplies each table into the smallest clique holding its variables.
    void placeTables(const FactorModel& model, const CliqueTree& tree);
    void linkSeparators(const CliqueTree& tree);
    ExactResult propagate(std::vector<double>& potentials, EvidenceWeights weights,
                          const std::vector<char>& wanted) const;

    // The options' checkpoint, between steps of building and propagating.
    void step() const {
        if (checkpoint) checkpoint();
    }

    std::function<void()> checkpoint;
    std::vector<std::string> names;  // of a network's variables, for evidence errors
    std::vector<int> stateCounts;
    CliqueStatistics stats;
    std::vector<TableShape> cliques;
    std::vector<std::size_t> cliqueOffsets;
    std::vector<double> initialPotentials;
    std::vector<Link> links;  // parents before children
    std::size_t separatorEntries = 0;
    std::size_t largestSeparator = 0;
    std::vector<Home> homes;
};

}  // namespace samplenet
