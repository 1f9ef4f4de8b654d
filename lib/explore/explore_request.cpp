#include "lib/explore/explore_request.h"

#include <nlohmann/json.hpp>
#include <string>

#include "lib/formats/evidence_parser.h"

namespace samplenet {

namespace {

// The list of strings under `key` of a JSON object; nothing else is accepted.
std::vector<std::string> stringList(std::string_view body, const char* key) {
    if (body.size() > kMaxExploreRequestBytes)
        throw RequestError("the request body holds " + std::to_string(body.size()) + " bytes, more than the " +
                           std::to_string(kMaxExploreRequestBytes) + " allowed");
    const nlohmann::json json = nlohmann::json::parse(body, nullptr, false);
    if (json.is_discarded()) throw RequestError("the request body is not JSON");
    const std::string shape = std::string("the request body should be {\"") + key + "\": [\"...\", ...]}";
    if (!json.is_object() || json.size() != 1 || !json.contains(key) || !json[key].is_array())
        throw RequestError(shape);
    std::vector<std::string> items;
    for (const nlohmann::json& item : json[key]) {
        if (!item.is_string()) throw RequestError(shape);
        items.push_back(item.get<std::string>());
    }
    return items;
}

}  // namespace

Evidence parseEvidenceRequest(const Network& network, std::string_view body) {
    Evidence evidence;
    for (const std::string& assignment : stringList(body, "evidence"))
        addEvidenceAssignment(network, assignment, evidence);
    return evidence;
}

std::vector<int> parseNodesRequest(const Network& network, std::string_view body) {
    std::vector<int> nodes;
    for (const std::string& name : stringList(body, "nodes")) {
        const auto v = network.indexOf(name);
        if (!v) throw RequestError("unknown node \"" + name + "\"");
        nodes.push_back(*v);
    }
    return nodes;
}

}  // namespace samplenet
