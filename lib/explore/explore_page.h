#pragma once

#include <string_view>

namespace samplenet {

// The explore page (HTML with its script and style), compiled in from
// lib/explore/explore_page.html.
std::string_view explorePage();

}  // namespace samplenet
