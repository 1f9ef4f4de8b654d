#pragma once

#include <map>
#include <string_view>

#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// Variables set from outside, by variable index: do(X = state). Unlike an
// observation, setting X says nothing about X's causes, only about what X
// causes.
using Interventions = std::map<int, int>;

// Adds do(NODE=STATE), from "NODE=STATE" or already split. Throws
// EvidenceError naming the unknown node, or the unknown state with the
// valid ones, or the malformed text, or a node set twice.
void addIntervention(const Network& network, std::string_view text, Interventions& interventions);
void addIntervention(const Network& network, std::string_view name, std::string_view state,
                     Interventions& interventions);

// Throws EvidenceError when a node is both observed (hard or likelihood
// evidence) and set: the two answer different questions.
void checkInterventions(const Network& network, const Evidence& evidence, const Interventions& interventions);

// The network after the interventions: each set variable loses its parents
// and its table becomes certainty of its state; every other variable is as
// it was. Inference on the result, with any evidence, answers
// P(. | evidence, do(interventions)).
Network intervene(const Network& network, const Interventions& interventions);

// "X=yes, Y=no", or "none".
std::string interventionDescription(const Network& network, const Interventions& interventions);

}  // namespace samplenet
