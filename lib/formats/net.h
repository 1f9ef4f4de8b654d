#pragma once

#include <string>
#include <string_view>

#include "lib/formats/read_limits.h"
#include "lib/formats/text_pull.h"
#include "lib/model/network.h"

namespace samplenet {

// NET: a `net { }` block, `node X { states = ("a" "b"); ... }` and
// `potential (X | A B) { data = ((...) ...); }`, data nested by parent in
// listed order with the node's own state innermost. Node and net attributes
// other than `states` are kept as "key = value" properties; the net's `name`
// attribute is the network name. `path` only labels error messages.
Network readNet(std::string_view text, const std::string& path, const ReadLimits& limits = {});
// The same, reading the text a piece at a time from `pull`, so that a large
// network's text is never held whole: the limit on text bounds its longest
// token (or property) instead.
Network readNet(TextPull pull, const std::string& path, const ReadLimits& limits = {});

// Properties that are not of the form "key = value" cannot be expressed in
// this format and are left out.
std::string writeNet(const Network& network);

}  // namespace samplenet
