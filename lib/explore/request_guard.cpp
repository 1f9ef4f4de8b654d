#include "lib/explore/request_guard.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "lib/explore/explore_service.h"

namespace samplenet {
namespace {

bool ownHost(const std::string& host, int port) {
    const std::string suffix = ":" + std::to_string(port);
    return host == "127.0.0.1" + suffix || host == "localhost" + suffix;
}

// "application/json; charset=utf-8" -> "application/json"
std::string mediaType(std::string_view contentType) {
    contentType = contentType.substr(0, contentType.find(';'));
    while (!contentType.empty() && std::isspace(static_cast<unsigned char>(contentType.back())))
        contentType.remove_suffix(1);
    while (!contentType.empty() && std::isspace(static_cast<unsigned char>(contentType.front())))
        contentType.remove_prefix(1);
    std::string lower(contentType);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

}  // namespace

std::optional<Reply> refusal(const RequestHeaders& request, int port) {
    const std::string here = "http://127.0.0.1:" + std::to_string(port);
    if (!ownHost(request.host, port)) return errorReply(403, "this server answers only requests addressed to " + here + "/");
    if (request.method == "GET" || request.method == "HEAD") return std::nullopt;
    if (!request.origin.empty() &&
        !(request.origin.starts_with("http://") && ownHost(request.origin.substr(7), port)))
        return errorReply(403, "this server answers only its own page (" + here + "/), not requests from " +
                                   request.origin);
    if (mediaType(request.contentType) != "application/json")
        return errorReply(415, request.method + " requests must send Content-Type: application/json");
    return std::nullopt;
}

}  // namespace samplenet
