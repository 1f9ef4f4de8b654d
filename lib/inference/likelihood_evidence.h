#pragma once

#include <map>

#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// The engine observes hard evidence only. Each likelihood vector on a
// variable v becomes a new binary child of v, appended after the existing
// variables and observed in state 0, with P(state 0 | v = s) = l_s / max l:
// conditioning on it weighs v's states by l exactly as the likelihood does.
// Returns the hard evidence of the extended network (the given hard evidence
// plus the new children). Evidence must have passed checkEvidenceShape.
std::map<int, int> addLikelihoodChildren(Network& network, const Evidence& evidence);

// Natural log of P(evidence) from the natural log of the mean weight of
// samples drawn with likelihood children: those scale each likelihood to a
// largest factor of 1, so each likelihood's largest factor is put back.
double logProbabilityOfEvidence(double logMeanWeight, const Evidence& evidence);

}  // namespace samplenet
