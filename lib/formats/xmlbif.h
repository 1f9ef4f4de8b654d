#pragma once

#include <string>
#include <string_view>

#include "lib/formats/read_limits.h"
#include "lib/model/network.h"

namespace samplenet {

// XMLBIF 0.3: VARIABLE elements of TYPE "nature" with NAME, OUTCOME and
// PROPERTY children, and DEFINITION elements with FOR, GIVEN and a TABLE in
// which the FOR variable varies fastest. `path` only labels error messages.
Network readXmlBif(std::string_view text, const std::string& path, const ReadLimits& limits = {});

std::string writeXmlBif(const Network& network);

}  // namespace samplenet
