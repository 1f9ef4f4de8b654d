#pragma once

#include <string>
#include <string_view>

#include "lib/formats/read_limits.h"
#include "lib/formats/text_pull.h"
#include "lib/model/network.h"

namespace samplenet {

// BIF: `network`, `variable` and `probability` blocks. Conditional tables
// are given as rows `(parent states) p1, p2;`, a `default` row, or a flat
// `table` in which the variable's own state varies slowest and the last
// parent fastest. `path` only labels error messages.
Network readBif(std::string_view text, const std::string& path, const ReadLimits& limits = {});
// The same, reading the text a piece at a time from `pull`, so that a large
// network's text is never held whole: the limit on text bounds its longest
// token (or property) instead.
Network readBif(TextPull pull, const std::string& path, const ReadLimits& limits = {});

// Parentless variables get a `table`, the others one row per parent
// configuration; properties are written back as `property` lines.
std::string writeBif(const Network& network);

}  // namespace samplenet
