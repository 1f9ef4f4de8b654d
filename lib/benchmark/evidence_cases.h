#pragma once

#include <map>
#include <string>
#include <vector>

#include "lib/exact/junction_tree.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

enum class CaseKind { Likely, Unlikely };

struct EvidenceCase {
    CaseKind kind;
    Evidence evidence;
    double log10Probability;  // of the evidence, exact
    // The evidence by variable and state name, so that reports can be
    // replayed elsewhere.
    std::map<std::string, std::string> named;
};

struct CaseOptions {
    int likelyCases = 5;
    int unlikelyCases = 5;
    // Share of the variables observed in each case (at least one).
    double observedFraction = 0.2;
    // An unlikely case has evidence less probable than this.
    double unlikelyBelow = 1e-6;
    unsigned long seed = 1;
    // Tries per unlikely case before giving up on finding more.
    int attemptsPerCase = 400;
};

// Evidence cases drawn with a fixed seed. Likely cases observe a forward
// sample of the network. Unlikely cases observe a forward sample that picks
// every state uniformly among those its parents make possible (so the
// evidence is never impossible), kept when the exact probability of the
// evidence is below the bound. Fewer unlikely cases come back when the
// search runs out of tries.
std::vector<EvidenceCase> generateCases(const Network& network, const JunctionTree& exact,
                                        const CaseOptions& options);

std::string caseKindName(CaseKind kind);

// Hard evidence on a share of the variables (at least one), chosen at random,
// in the states of one forward sample of the network, so that it is always
// possible. The same seed gives the same evidence.
Evidence forwardSampledEvidence(const Network& network, double observedFraction, unsigned long seed);

}  // namespace samplenet
