#include "lib/explore/explore_request.h"

#include <nlohmann/json.hpp>
#include <string>

#include "lib/formats/evidence_parser.h"

namespace samplenet {

namespace {

// A JSON object whose keys are `required`, and `optional` if present, each
// holding a list of strings: those lists, an empty one for an absent
// optional key. Anything else is refused with `shape`.
std::vector<std::vector<std::string>> stringLists(std::string_view body, const char* required, const char* optional,
                                                  const std::string& shape) {
    if (body.size() > kMaxExploreRequestBytes)
        throw RequestError("the request body holds " + std::to_string(body.size()) + " bytes, more than the " +
                           std::to_string(kMaxExploreRequestBytes) + " allowed");
    const nlohmann::json json = nlohmann::json::parse(body, nullptr, false);
    if (json.is_discarded()) throw RequestError("the request body is not JSON");
    const bool withOptional = optional && json.is_object() && json.contains(optional);
    if (!json.is_object() || !json.contains(required) || json.size() != (withOptional ? 2u : 1u))
        throw RequestError(shape);
    std::vector<std::vector<std::string>> lists;
    for (const char* key : {required, optional}) {
        std::vector<std::string>& items = lists.emplace_back();
        if (key != required && !withOptional) continue;
        if (!json.at(key).is_array()) throw RequestError(shape);
        for (const nlohmann::json& item : json.at(key)) {
            if (!item.is_string()) throw RequestError(shape);
            items.push_back(item.get<std::string>());
        }
    }
    return lists;
}

}  // namespace

PosteriorsRequest parsePosteriorsRequest(const Network& network, std::string_view body) {
    const auto lists = stringLists(body, "evidence", "do",
                                   "the request body should be {\"evidence\": [\"...\", ...]}, with \"do\": "
                                   "[\"...\", ...] for nodes set");
    PosteriorsRequest request;
    for (const std::string& assignment : lists[0]) addEvidenceAssignment(network, assignment, request.evidence);
    for (const std::string& assignment : lists[1]) addIntervention(network, assignment, request.interventions);
    checkInterventions(network, request.evidence, request.interventions);
    return request;
}

std::vector<int> parseNodesRequest(const Network& network, std::string_view body) {
    std::vector<int> nodes;
    const auto lists = stringLists(body, "nodes", nullptr, "the request body should be {\"nodes\": [\"...\", ...]}");
    for (const std::string& name : lists[0]) {
        const auto v = network.indexOf(name);
        if (!v) throw RequestError("unknown node \"" + name + "\"");
        nodes.push_back(*v);
    }
    return nodes;
}

}  // namespace samplenet
