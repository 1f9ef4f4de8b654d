#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// Adds one observation to `evidence`: "NODE=STATE" (hard evidence) or
// "NODE=[l1,l2,...]" (one likelihood per state). Throws EvidenceError naming
// the unknown variable, or the unknown state with the valid ones, or the
// malformed part, and when the variable already has evidence.
void addEvidenceAssignment(const Network& network, std::string_view text, Evidence& evidence);

// The same two kinds of observation, already split: a state by name, or one
// likelihood per state; with the same checks and messages.
void addHardEvidence(const Network& network, std::string_view name, std::string_view state, Evidence& evidence);
void addLikelihoodEvidence(const Network& network, std::string_view name, std::vector<double> likelihood,
                           Evidence& evidence);

// Evidence files hold one assignment per line; '#' starts a comment. Errors
// are prefixed with "file:line: ". Files ending in .evid are read as UAI
// evidence, for networks read from UAI files.
Evidence readEvidenceFile(const Network& network, const std::string& path);
// The same for an evidence file's text; `path` labels the errors and picks
// the UAI form when it ends in .evid.
Evidence readEvidenceText(const Network& network, std::string_view text, const std::string& path);

}  // namespace samplenet
