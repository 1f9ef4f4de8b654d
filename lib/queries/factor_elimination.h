#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "lib/exact/clique_potentials.h"
#include "lib/exact/junction_tree.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// Variable elimination over the network's tables with the evidence entered:
// observed variables are sliced out of every table, likelihoods multiply
// their variable's own table. Variables are eliminated in the order the
// junction tree's cliques give (leaf cliques first), so that no table is
// larger than the junction tree's largest clique unless variables are kept.
//
// Tables are rescaled to a largest entry of 1 as they are made and the
// scale is kept as a logarithm, so that evidence of any improbability
// neither underflows nor loses precision.
class FactorElimination {
public:
    enum class Mode { Sum, Max };

    // Throws EvidenceError for evidence that does not fit the network and
    // ExactMemoryError when the tables would exceed the memory limit; calls
    // the options' checkpoint between steps.
    FactorElimination(const Network& network, const Evidence& evidence, const ExactOptions& options);

    // Eliminates every unobserved variable but `kept`, summing or
    // maximising it out. Max mode remembers each eliminated variable's
    // table so that decode() can find the maximising states. Variables an
    // earlier call eliminated are skipped: a Sum keeping some variables,
    // then a Max, finds their most probable states with the rest summed out.
    void eliminate(Mode mode, const std::vector<int>& kept = {});

    // The product of what is left, over `kept` in the order given (the last
    // varying fastest), relative to exp(logScale()).
    std::vector<double> remainder(const std::vector<int>& kept) const;
    double logScale() const { return logScale_; }

    // After a Max elimination of everything: one state per variable that
    // reaches the maximum (observed variables in their state; -1 for those
    // summed out). Among equally
    // probable states of a variable the lowest index wins, variables
    // decoded in the reverse order of their elimination.
    std::vector<int> decode() const;

private:
    struct Factor {
        TableShape shape;
        std::vector<double> values;
    };
    struct Eliminated {
        int variable;
        Factor product;  // every factor that held the variable, multiplied
    };

    void enterEvidence(const Network& network, const Evidence& evidence);
    Factor multiplyAll(const std::vector<const Factor*>& factors, std::vector<int> variables) const;
    void rescale(Factor& factor);
    void reserve(std::size_t entries);

    std::vector<int> stateCounts;
    std::vector<int> observed;  // state, or -1
    std::vector<int> order;     // unobserved variables, in elimination order
    std::vector<Factor> factors;
    std::vector<Eliminated> eliminated;
    double logScale_ = 0.0;
    std::size_t limitEntries;
    std::size_t heldEntries = 0;
    std::function<void()> checkpoint;
};

}  // namespace samplenet
