#include "lib/explore/explore_service.h"

#include <nlohmann/json.hpp>
#include <new>
#include <utility>

#include "lib/explore/explore_page.h"
#include "lib/explore/explore_request.h"
#include "lib/output/result_json.h"
#include "lib/model/errors.h"
#include "lib/plot/graphviz_render.h"
#include "lib/plot/picture_selection.h"
#include "lib/plot/posterior_picture.h"

namespace samplenet {

namespace {

Reply jsonReply(const nlohmann::json& json) { return Reply{200, "application/json", json.dump(), ""}; }

// The run's keys as every JSON output gives them, and what the page reads.
Reply resultReply(const InferenceResult& result) {
    nlohmann::ordered_json json;
    addRunJson(json, result);
    json["choice"] = result.choice;
    if (!json.contains("ln_probability_of_evidence")) json["ln_probability_of_evidence"] = nullptr;
    json["posteriors"] = result.posteriors;
    if (!result.standardErrors.empty()) json["standard_errors"] = result.standardErrors;
    return Reply{200, "application/json", json.dump(), ""};
}

}  // namespace

Reply errorReply(int status, const std::string& message) {
    return Reply{status, "application/json", nlohmann::json{{"error", message}}.dump(), ""};
}

ExploreService::ExploreService(std::string title, Network network, InferenceOptions options)
    : title(std::move(title)), network(std::move(network)), options(std::move(options)) {}

Reply ExploreService::handle(std::string_view method, std::string_view path, std::string_view body) {
    struct Route {
        std::string_view path;
        std::string_view method;
    };
    static constexpr Route routes[] = {{"/", "GET"},
                                       {"/api/network", "GET"},
                                       {"/api/picture", "POST"},
                                       {"/api/posteriors", "POST"},
                                       {"/api/progress", "GET"}};
    const Route* route = nullptr;
    for (const Route& candidate : routes)
        if (candidate.path == path) route = &candidate;
    if (!route) return errorReply(404, "no such page: " + std::string(path));
    if (route->method != method) {
        Reply reply = errorReply(405, std::string(path) + " takes " + std::string(route->method) + ", not " +
                                          std::string(method));
        reply.allow = route->method;
        return reply;
    }
    try {
        if (path == "/") return Reply{200, "text/html; charset=utf-8", std::string(explorePage()), ""};
        if (path == "/api/network") return networkReply();
        if (path == "/api/picture") return pictureReply(body);
        if (path == "/api/posteriors") return posteriorsReply(body);
        return progressReply();
    } catch (const std::invalid_argument& error) {  // RequestError, and nodes too many to draw
        return errorReply(400, error.what());
    } catch (const EvidenceError& error) {
        return errorReply(400, error.what());
    } catch (const InferenceError& error) {
        return errorReply(422, error.what());
    } catch (const RunCancelled&) {
        return errorReply(409, "a newer request took this one's place");
    } catch (const std::bad_alloc&) {
        return errorReply(500, "out of memory");
    } catch (const std::exception& error) {
        return errorReply(500, error.what());
    }
}

Reply ExploreService::networkReply() const {
    nlohmann::json nodes = nlohmann::json::array();
    for (const Variable& variable : network.variables) {
        nlohmann::json parents = nlohmann::json::array();
        for (int parent : variable.parents) parents.push_back(network.variables[parent].name);
        nodes.push_back({{"name", variable.name}, {"states", variable.states}, {"parents", parents}});
    }
    return jsonReply({{"title", title},
                      {"algorithm", algorithmName(options.algorithm)},
                      {"picture_limit", kMaxPictureNodes},
                      {"nodes", nodes}});
}

Reply ExploreService::pictureReply(std::string_view body) {
    const std::vector<int> nodes = parseNodesRequest(network, body);
    // Each drawing is a run of dot; a request naming every node of a large
    // network would take it minutes.
    if (static_cast<int>(nodes.size()) > kMaxPictureNodes)
        throw RequestError("at most " + std::to_string(kMaxPictureNodes) + " nodes are drawn at once");
    const PictureSelection selection = selectPictureNodes(network, nodes);
    const bool whole = selection.context.empty() && static_cast<int>(selection.detailed.size()) == network.size();
    {
        std::lock_guard lock(mutex);
        if (whole && wholePicture) return Reply{200, "image/svg+xml", *wholePicture, ""};
    }
    // The page fills in the numbers: the drawing depends only on the nodes.
    InferenceResult blank;
    for (const Variable& variable : network.variables) blank.posteriors.emplace_back(variable.stateCount(), 0.0);
    const Evidence none;
    PosteriorPicture picture{network, none, blank, selection, ""};
    picture.linked = true;
    std::string svg = renderDot(posteriorDot(picture), PictureFormat::Svg);
    if (whole) {
        std::lock_guard lock(mutex);
        wholePicture = svg;
    }
    return Reply{200, "image/svg+xml", std::move(svg), ""};
}

ExploreService::~ExploreService() {
    std::lock_guard lock(mutex);
    if (stopRunning) stopRunning->requestStop();
}

Reply ExploreService::posteriorsReply(std::string_view body) {
    const PosteriorsRequest request = parsePosteriorsRequest(network, body);
    {
        // The run in progress could only answer a request that this one
        // replaces: it stops within milliseconds.
        std::lock_guard lock(mutex);
        if (stopRunning) stopRunning->requestStop();
    }
    std::optional<Reply> reply = worker.run([&] { return infer(request); });
    if (!reply) return errorReply(409, "a newer request took this one's place");
    return *reply;
}

// On the worker's thread.
Reply ExploreService::infer(const PosteriorsRequest& request) {
    InferenceOptions run = options;
    const auto stop = std::make_shared<StopToken>();
    run.cancellation.token = stop;
    run.progress = [this](const Progress& now) {
        std::lock_guard lock(mutex);
        progress.progress = now;
    };
    {
        std::lock_guard lock(mutex);
        progress = RunProgress{true, {}};
        stopRunning = stop;
    }
    struct Finished {
        ExploreService& service;
        ~Finished() {
            std::lock_guard lock(service.mutex);
            service.progress.running = false;
        }
    } finished{*this};
    try {
        if (request.interventions.empty()) return resultReply(samplenet::infer(network, request.evidence, run));
        return resultReply(samplenet::infer(intervene(network, request.interventions), request.evidence, run));
    } catch (const InferenceError& error) {
        return errorReply(422, error.what());
    }
}

Reply ExploreService::progressReply() const {
    std::lock_guard lock(mutex);
    return jsonReply({{"running", progress.running},
                      {"samples_done", progress.progress.samplesDone},
                      {"samples_total", progress.progress.samplesTotal},
                      {"seconds", progress.progress.seconds}});
}

}  // namespace samplenet
