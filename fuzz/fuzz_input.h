#pragma once

#include <optional>
#include <string_view>

namespace samplenet::fuzzing {

// What a fuzz target feeds its input to.
enum class Target { Bif, XmlBif, Net, Uai, Gzip, Evidence, ExploreRequest };

std::optional<Target> targetNamed(std::string_view name);

enum class Outcome { Accepted, Refused };

// Feeds arbitrary bytes to the target: a reader (gzip: decompression, then
// the BIF reader), or the evidence parser on a fixed network, where the
// first byte picks a NODE=STATE file or a UAI .evid file, or the explore
// page's request parser on that network, where the first byte picks an
// evidence request or a nodes request. Returns whether
// the input was accepted or refused with one of the documented exceptions;
// throws std::logic_error when an accepted result breaks what the readers
// promise (an invalid network, evidence out of bounds). Anything else that
// escapes is a fault.
Outcome consume(Target target, std::string_view bytes);

}  // namespace samplenet::fuzzing
