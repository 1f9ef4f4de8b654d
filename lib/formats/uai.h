#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "lib/model/evidence.h"
#include "lib/formats/read_limits.h"
#include "lib/formats/text_pull.h"
#include "lib/model/network.h"

namespace samplenet {

// UAI BAYES networks: cardinalities, one function per variable whose scope
// lists the parents and then the variable itself, and tables with the last
// scope variable fastest. The format has no names, so variables are named
// v0, v1, ... and states s0, s1, ... `path` only labels error messages.
Network readUai(std::string_view text, const std::string& path, const ReadLimits& limits = {});
// The same, reading the text a piece at a time from `pull`, so that a large
// network's text is never held whole: the limit on text bounds its longest
// token instead.
Network readUai(TextPull pull, const std::string& path, const ReadLimits& limits = {});

// Variables and parents keep their order, so tables are written unchanged.
std::string writeUai(const Network& network);
// The same text, handed to `put` a piece of about a megabyte at a time, so
// that the text of a large network is never held whole.
void writeUaiPieces(const Network& network, const std::function<void(std::string_view)>& put);

// Evidence by variable and state index: "N var state ..." or, with a leading
// sample count that must be 1, "1 N var state ...".
Evidence readUaiEvidence(const Network& network, std::string_view text, const std::string& path);

}  // namespace samplenet
