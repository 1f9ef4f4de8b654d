#pragma once

#include <stdexcept>
#include <string_view>
#include <vector>

#include "lib/impact/intervention.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// The most bytes a request body of the explore page may hold; larger
// requests are refused before they are read.
constexpr std::size_t kMaxExploreRequestBytes = std::size_t{1} << 20;

// A request whose body is not what the page sends.
class RequestError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

// What a page asks posteriors for: the nodes observed and the nodes set.
struct PosteriorsRequest {
    Evidence evidence;
    Interventions interventions;
};

// The request body {"evidence": ["NODE=STATE", "NODE=[l1,l2,...]", ...],
// "do": ["NODE=STATE", ...]}, "do" optional, each item read as the command
// line reads -e and --do. Throws RequestError for a body of another shape,
// EvidenceError (with the command line's message) for evidence or
// interventions it would refuse, a node both observed and set among them.
PosteriorsRequest parsePosteriorsRequest(const Network& network, std::string_view body);

// The nodes of a request body {"nodes": ["NODE", ...]}, by index, in the
// order given. Throws RequestError for another shape or an unknown node.
std::vector<int> parseNodesRequest(const Network& network, std::string_view body);

}  // namespace samplenet
